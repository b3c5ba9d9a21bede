"""`python3 -m orbitrax`."""

from orbitrax.cli import entry

if __name__ == "__main__":
    entry()
