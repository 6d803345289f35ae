"""Listeners of tests that play a server."""

import threading


def serve_each(listener, serve):
    """Each connection on a thread of its own, until the listener is closed."""
    def accept():
        while True:
            try:
                client, _ = listener.accept()
            except OSError:
                return
            threading.Thread(target=serve, args=(client,), daemon=True).start()

    threading.Thread(target=accept, daemon=True).start()
