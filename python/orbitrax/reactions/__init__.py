"""From two molecules to a barrier: structures laid upon each other, guesses, and paths downhill."""
