"""The commands of reactions: transit, path and barrier."""
