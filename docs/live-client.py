#!/usr/bin/python3
"""Prints what happens on the sites that Vantry watches, one line an event, for as long as it runs.

    live-client.py [--user NAME --password WORD] http://127.0.0.1:8005/ [NAME=VALUE...]

NAME=VALUE are filters: site=1, address=192.0.2.*, page=shop/*, country=DE, spider=0. When the connection is lost it
connects again and goes on where it was; "missed" says that events were lost meanwhile.
"""

import argparse
import base64
import http.client
import json
import time
import urllib.parse


class LiveClient:
    def __init__(self, address, user=None, password="", timeout=40):
        self.address = urllib.parse.urlsplit(address)
        self.timeout = timeout  # The program sends a comment every 15 s, so silence means that it is gone.
        self.headers = {}
        if user:
            word = base64.b64encode(("%s:%s" % (user, password)).encode()).decode()
            self.headers["Authorization"] = "Basic " + word

    def _open(self, name, query, **headers):
        kind = http.client.HTTPSConnection if self.address.scheme == "https" else http.client.HTTPConnection
        connection = kind(self.address.hostname, self.address.port, timeout=self.timeout)
        path = "%s/api/v1/%s?%s" % (self.address.path.rstrip("/"), name, urllib.parse.urlencode(query))
        connection.request("GET", path, headers={**self.headers, **headers})
        response = connection.getresponse()
        if response.status != 200:
            raise RuntimeError("%s: %s %s" % (path, response.status, response.read().decode("utf-8", "replace")))
        return connection, response

    def get(self, name, **query):
        """An answer, such as get("sites") or get("visitors", country="DE")."""
        connection, response = self._open(name, query)
        try:
            return json.loads(response.read())
        finally:
            connection.close()

    def items(self, name, **query):
        """All rows of a list, however long it is."""
        while True:
            answer = self.get(name, **query)
            yield from answer["items"]
            if not answer["next"]:
                return
            query["cursor"] = answer["next"]

    def events(self, last_id=None, **query):
        """(id, name, data) of each event from now on, or after that of `last_id`. Connects again by itself."""
        pause = 1
        while True:
            try:
                headers = {"Last-Event-ID": str(last_id)} if last_id is not None else {}
                connection, response = self._open("events", query, **headers)
                pause = 1
                try:
                    for last_id, name, data in read_events(response, last_id):
                        if name:
                            yield last_id, name, data
                finally:
                    connection.close()
            except (OSError, http.client.HTTPException):
                time.sleep(pause)
                pause = min(pause * 2, 30)


def read_events(lines, last_id):
    """The events of a stream. One without a name only tells how far the stream is."""
    name, data = "", []
    for line in lines:
        field, _, value = line.decode("utf-8").rstrip("\r\n").partition(":")
        value = value[1:] if value.startswith(" ") else value
        if field == "id":
            last_id = value
        elif field == "event":
            name = value
        elif field == "data":
            data.append(value)
        elif field == "" and value == "" and line in (b"\n", b"\r\n"):
            yield last_id, name, json.loads("\n".join(data)) if data else None
            name, data = "", []


def main():
    parser = argparse.ArgumentParser(description="Prints what happens on the sites that Vantry watches.")
    parser.add_argument("address")
    parser.add_argument("filters", nargs="*", metavar="NAME=VALUE")
    parser.add_argument("--user")
    parser.add_argument("--password", default="")
    words = parser.parse_args()
    client = LiveClient(words.address, words.user, words.password)
    for _, name, data in client.events(**dict(text.split("=", 1) for text in words.filters)):
        about = data.get("key") or data.get("name") or ""
        print("%-9s %s %s" % (name, about, data.get("page") or data.get("details") or ""), flush=True)


if __name__ == "__main__":
    try:
        main()
    except KeyboardInterrupt:
        pass
