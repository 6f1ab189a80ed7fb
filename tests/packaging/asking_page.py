"""What a browser sees of the page on its own port."""

import http.client
import json


def get(path):
    """The JSON document of the page on its own port; None while nobody answers there."""
    connection = http.client.HTTPConnection("127.0.0.1", 5380, timeout=30)
    try:
        connection.request("GET", path)
        answer = connection.getresponse()
        assert answer.status == 200, answer.read()
        return json.loads(answer.read())
    except (ConnectionError, http.client.HTTPException):
        return None
    finally:
        connection.close()
