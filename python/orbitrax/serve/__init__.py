"""The page: a browser on this machine as a client of the tasks, beside the command line."""
