"""Normal modes: what they are, how they look in a spectrum, and the heat that they hold."""
