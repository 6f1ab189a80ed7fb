"""The benchmark suite: what `bench/run` runs once everything is built.

A measurement is always of one program in one scenario with one place for its trace: CPU time of all its
threads per answered query, at the rate at which it can serve. Programs take turns, so that noise of the
machine falls on all of them, and only ratios within one turn are worth comparing.
"""
