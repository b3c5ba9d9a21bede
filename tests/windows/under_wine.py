"""The fixture of all tests that run something under Wine."""

import pytest
import wine


@pytest.fixture(scope="session")
def under_wine():
    """What runs under Wine needs; nothing of it is left at the end."""
    if problem := wine.missing():
        pytest.fail(problem)
    anchor = wine.Anchor()
    yield
    anchor.release()
