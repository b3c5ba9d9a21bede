"""`python3 -m orbitrax`."""

import sys

from orbitrax.cli import main

if __name__ == "__main__":
    sys.exit(main())
