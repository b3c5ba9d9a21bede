"""Pictures and cube files of grids."""
