"""What the proxy does, said a second time: a model that shares no code with the program.

Given the bytes of the two configuration files and one datagram after the other, it says every trace line,
every datagram sent, which thread ends and how the process ends. One idea a file, in reading order:

    configuration   the two files
    trace_texts     the texts of the trace
    network         address texts, and which sends the test network lets through
    decoder         the question's name, type and class
    tables          methods, host map, requests in flight
    answers         the two answers that the proxy makes itself
    engine          intake, fallback, relay
    process         start, the two threads, the end

Nothing here is fast or clever on purpose: it is meant to be compared with a description by eye.
"""
