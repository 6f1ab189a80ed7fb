"""Finds the string literals in the sources of the tests and of the trace, and the tests that use them."""
