"""Many molecules: from lists to records, on many processes and machines, with nothing lost."""
