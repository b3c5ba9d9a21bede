"""Geometries that a force field has made, where it knows too little."""
