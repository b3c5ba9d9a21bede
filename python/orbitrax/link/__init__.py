"""The packet link: records of the wire, the conversation, and what a session tells as events."""
