"""Results: what a calculation yields, how it is put together, and its document."""
