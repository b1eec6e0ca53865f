"""A syslog server for tests: rsyslog on loopback, with a configuration and a folder of its own.

    with Rsyslog(folder) as server:
        ... send to 127.0.0.1, port server.tcp, server.octets (octet counting allowed) or server.udp ...
        server.wait_for(1000)       # lines, at most a minute
    records = server.records()      # what the parser made of each: a dict with pri, time, host, message, raw
"""

import contextlib
import json
import os
import random
import shutil
import signal
import socket
import subprocess
import time

TEMPLATE = """
global(workDirectory="{folder}" parser.escapeControlCharactersOnReceive="off" maxMessageSize="64k")
# More workers change the order; what was read is written out at the end, however long that takes.
main_queue(queue.type="FixedArray" queue.size="200000" queue.workerThreads="1" queue.timeoutShutdown="60000")
module(load="imudp") module(load="imtcp")
template(name="record" type="list" option.jsonf="on") {{
  property(outname="pri" name="pri" format="jsonf")
  property(outname="time" name="timestamp" dateFormat="rfc3339" format="jsonf")
  property(outname="host" name="hostname" format="jsonf")
  property(outname="tag" name="syslogtag" format="jsonf")
  property(outname="msg" name="msg" format="jsonf")
  property(outname="raw" name="rawmsg" format="jsonf")
}}
ruleset(name="all") {{ action(type="omfile" file="{output}" template="record" asyncWriting="off" flushOnTXEnd="on") }}
input(type="imudp" address="127.0.0.1" port="{udp}" ruleset="all")
input(type="imtcp" address="127.0.0.1" port="{tcp}" ruleset="all" supportOctetCountedFraming="off")
input(type="imtcp" address="127.0.0.1" port="{octets}" ruleset="all" supportOctetCountedFraming="on")
"""


def free_port(kind):
    """A port that is free, and none of those that the system gives to whoever asks for any."""
    while True:
        port = random.randrange(10_000, 30_000)
        with socket.socket(socket.AF_INET, kind) as probe, contextlib.suppress(OSError):
            probe.bind(("127.0.0.1", port))
            return port


def find_program():
    return shutil.which("rsyslogd", path=os.environ.get("PATH", "") + ":/usr/sbin")


class Rsyslog:
    """Starts with start() or as a context; stop() lets it write out what it has, and start() again appends to the
    same output on the same ports."""

    def __init__(self, folder):
        self.folder = os.path.abspath(folder)
        self.tcp, self.octets = free_port(socket.SOCK_STREAM), free_port(socket.SOCK_STREAM)
        self.udp = free_port(socket.SOCK_DGRAM)
        self.output = os.path.join(self.folder, "received.jsonl")
        self.process = None

    def start(self):
        configuration = os.path.join(self.folder, "rsyslog.conf")
        with open(configuration, "w", encoding="utf-8") as file:
            file.write(TEMPLATE.format(**vars(self)))
        with open(os.path.join(self.folder, "rsyslogd.log"), "ab") as log:
            self.process = subprocess.Popen(
                [find_program(), "-n", "-f", configuration, "-i", os.path.join(self.folder, "rsyslogd.pid")],
                stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        self.wait(lambda: self.listens(self.tcp) and self.listens(self.octets), "does not listen")
        return self

    def listens(self, port):
        if self.process.poll() is not None:
            raise RuntimeError("rsyslogd has ended, see rsyslogd.log")
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.1", port)) == 0

    def stop(self):
        if self.process:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(60)
            finally:
                self.process.kill()
                self.process.wait()
                self.process = None

    __enter__ = start

    def __exit__(self, *_):
        self.stop()

    def count(self):
        """How many lines have been received."""
        try:
            with open(self.output, "rb") as file:
                return sum(part.count(b"\n") for part in iter(lambda: file.read(1 << 20), b""))
        except FileNotFoundError:
            return 0

    def wait_for(self, lines):
        self.wait(lambda: self.count() >= lines, f"has not received {lines} lines")

    def wait(self, condition, what):
        end = time.monotonic() + 60
        while not condition():
            if time.monotonic() > end:
                raise RuntimeError(f"rsyslogd {what} after a minute ({self.count()} received)")
            time.sleep(0.02)

    def records(self):
        with open(self.output, encoding="utf-8", errors="surrogateescape") as file:
            records = [json.loads(line) for line in file]
        for record in records:
            record["pri"] = int(record["pri"]) if record["pri"].isdigit() else None  # None: a line that a kill cut off
            # The parser takes the first word of the message for a tag.
            record["message"] = record.pop("tag") + record.pop("msg")
        return records
