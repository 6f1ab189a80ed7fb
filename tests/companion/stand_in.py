"""A process that goes by the proxy's name and has as many threads as a test wants.

Run by a copy of the interpreter that bears the name: it reads this file from standard input, so it
has no arguments, as the proxy has none.
"""

import os
import socket
import threading

commands = os.fdopen(int(os.environ["STAND_IN_COMMANDS"]))
done = int(os.environ["STAND_IN_DONE"])
threads = []
kept = []


def add_thread():
    end = threading.Event()
    thread = threading.Thread(target=end.wait, daemon=True)
    thread.start()
    threads.append((thread, end))


def end_thread(number):
    thread, end = threads[number]
    end.set()
    thread.join()


def bind():
    kept.append(socket.socket(socket.AF_INET, socket.SOCK_DGRAM))
    kept[0].bind(("127.0.0.1", 53))


for command in commands:
    word, *number = command.split()
    if word == "bind":
        bind()
    elif word == "add":
        add_thread()
    else:
        end_thread(int(number[0]))
    os.write(done, b".")
