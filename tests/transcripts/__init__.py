"""Conversations with the proxy, one scenario a file, to be read and to be played (see play.py)."""
