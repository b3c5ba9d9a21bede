"""Lists of molecules at the command line: a batch, and what becomes of its results."""
