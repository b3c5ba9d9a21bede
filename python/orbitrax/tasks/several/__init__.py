"""Tasks that take several calculations: along a coordinate, by several methods."""
