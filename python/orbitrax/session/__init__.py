"""The script of a session: what a job becomes on the wire, and what comes back as events."""
