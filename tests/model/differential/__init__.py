"""Random lives of the proxy, played on the model and on the real program at once.

    scenario    what a life is: two files, then datagrams
    questions   random question names and queries
    files       random configuration files
    lives       random lives, from a seed
    census      what kinds of datagrams and files they are made of
    peers       applications and servers, real and forged
    live        the real program, step by step
    lockstep    one life on both sides, and what differs
    shrink      the smallest part of a life that still differs
    report      a difference for the reader's eye

`../compare.py` is the command.
"""
