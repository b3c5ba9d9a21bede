"""Tasks: questions about a molecule, each a class of settings and what one run of it does."""
