"""Motion: how a run in time is planned, written down, watched and looked into afterwards."""
