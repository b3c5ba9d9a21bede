"""Grids: what a plot shows, where its points lie, and the values that come back."""
