"""One name for arrays of numbers in annotations."""

from __future__ import annotations

from typing import Any

import numpy as np

Array = np.ndarray[Any, Any]
