"""An agent root of a test's own, and the agent running in it under Wine."""

import json
import os
import re
import shutil
import signal
import subprocess
import time
from xml.sax.saxutils import quoteattr

HERE = os.path.dirname(os.path.abspath(__file__))
WINE = os.path.join(HERE, "..", "..", "scripts", "wine")
SAMPLES = os.path.join(HERE, "..", "..", "agent", "samples")

BASE_SERVICES = """
  <Service name="DiskManager"><Setting name="BasePath" value="cache\\disk"/>
    <Setting name="Capacity" value="{capacity}"/></Service>
  <Service name="PersistenceManager"><Setting name="BasePath" value="cache\\positions"/></Service>
  <Service name="PayloadFactory"/>
  <Service name="ConnectionFactory" module="AgentConnections"/>
"""


def windows_path(path):
    return "Z:" + os.path.abspath(path).replace("/", "\\")


def settings(values):
    return "".join(f"<Setting name={quoteattr(name)} value={quoteattr(str(value))}/>"
                   for name, value in values.items())


class Agent:
    """One agent root below folder. program: corvane-agent.exe; the modules lie beside it."""

    def __init__(self, program, folder):
        self.program = os.path.abspath(program)
        self.folder = folder
        self.root = os.path.join(folder, "agent's root & more")
        self.process = None
        os.makedirs(os.path.join(self.root, "config"))
        shutil.copy(os.path.join(SAMPLES, "logconfig.xml"), self.path("config", "logconfig.xml"))

    def path(self, *names):
        return os.path.join(self.root, *names)

    def configure(self, destinations, collectors, capacity=100, agent_settings=None, version="test"):
        """destinations, collectors: settings by name; those of a collector with its "class", and "module"."""
        text = f"<AgentConfig version={quoteattr(version)}><Settings>" + settings(agent_settings or {}) + "</Settings><Services>"
        text += BASE_SERVICES.format(capacity=capacity)
        text += '<Service name="DestinationManager" module="AgentRoad">'
        for name, values in destinations.items():
            text += f"<Instance name={quoteattr(name)}>{settings(values)}</Instance>"
        text += '</Service><Service name="PayloadRouter" module="AgentRoad"/>'
        for name, values in collectors.items():
            values = dict(values)
            kind = values.pop("class")
            module = values.pop("module", "AgentCollectors")
            text += f'<Service name={quoteattr(name)} module={quoteattr(module)} class={quoteattr(kind)}>'
            text += settings(values) + "</Service>"
        self.write_config(text + "</Services></AgentConfig>")

    def write_config(self, text, name="AgentConfig.xml"):
        with open(self.path("config", name), "w", encoding="utf-8") as file:
            file.write(text)

    def command(self, *arguments):
        return [WINE, self.program, *arguments, "--root", windows_path(self.root)]

    def run(self, *arguments, seconds=120):
        """Runs it to its end: the completed process with stdout and stderr."""
        return subprocess.run(self.command(*arguments), stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              timeout=seconds, cwd=self.folder)

    def start(self, *arguments):
        with open(os.path.join(self.root, "..", "console.txt"), "ab") as console:
            self.process = subprocess.Popen(self.command(*arguments), stdin=subprocess.DEVNULL, stdout=console,
                                            stderr=console, cwd=self.folder)

    def end(self, number=signal.SIGINT, seconds=30):
        """Ctrl+C, or SIGKILL; returns the exit code."""
        self.process.send_signal(number)
        try:
            return self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise RuntimeError(f"the agent does not end within {seconds} seconds") from None
        finally:
            self.process = None

    def wait_for(self, condition, what, seconds=60):
        end = time.monotonic() + seconds
        while not condition():
            if self.process and self.process.poll() is not None:
                raise RuntimeError(f"the agent has ended with {self.process.returncode} before {what}\n" + self.log())
            if time.monotonic() > end:
                raise RuntimeError(f"not within {seconds} seconds: {what}\n{self.log()}\n{self.state()}")
            time.sleep(0.02)

    def lines(self):
        return self.read("logs", "events.log").splitlines()

    def log(self):
        return self.read("logs", "agent.log")

    def read(self, *names):
        try:
            with open(self.path(*names), encoding="utf-8", errors="surrogateescape", newline="\n") as file:
                return file.read()
        except FileNotFoundError:
            return ""

    def state(self):
        text = self.read("logs", "state.json")
        return json.loads(text) if text else {}

    def count(self, component, name):
        return int(self.state().get("components", {}).get(component, {}).get(name, 0))

    def memory(self):
        """Private bytes of the running process as Linux counts them."""
        with open(f"/proc/{self.process.pid}/smaps_rollup", encoding="ascii") as file:
            return sum(int(found) for found in re.findall(r"Private_(?:Clean|Dirty): *(\d+) kB", file.read())) * 1024


def append_lines(path, last, first=1):
    """Lines "Number=FIRST ..." to the last number, each of 120 bytes with its line feed."""
    with open(path, "a", encoding="ascii") as file:
        for number in range(first, last + 1):
            file.write(f"Number={number} ".ljust(119, "x") + "\n")


def numbers_in(texts):
    """The numbers of such lines; one that a kill cut off on its way, before the blank behind its number, is none."""
    found = (re.search(r"Number=(\d+) ", text) for text in texts)
    return [int(match[1]) for match in found if match]
