"""A desktop session of its own for a test: a home, a message bus, and Evolution Data Server on it.

As a program: private_session.py [--radicale] COMMAND… runs a command in one.
"""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "interoperation"))

from test_synchronisation import Server

PATIENCE = 60

# The calendars that every home has from the start. Most tests want to know what there is.
BUILT_IN = {
    "system-calendar": ("local-stub", "local"),
    "birthdays": ("contacts-stub", "contacts"),
}
DISABLED = """[Data Source]
DisplayName={uid}
Enabled=false
Parent={parent}

[Calendar]
BackendName={backend}
"""

# A bus that can start nothing.
EMPTY_BUS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir={place}</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""


class PrivateSession:
    """Nothing of the user's own session is touched; no display, no keyring."""

    def __init__(self, built_in_calendars=False, services=True, **variables):
        self.place = pathlib.Path(tempfile.mkdtemp(prefix="quenbrook-session-"))
        self.home = self.place / "home"
        self.sources = self.home / "config" / "evolution" / "sources"
        self.calendars = self.home / "data" / "evolution" / "calendar"
        self.sources.mkdir(parents=True)
        runtime = self.place / "run"
        runtime.mkdir(mode=0o700)
        kept = ("PATH", "TZ", "ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "LLVM_PROFILE_FILE")
        self.environment = {name: os.environ[name] for name in kept if name in os.environ}
        self.environment.update(
            HOME=str(self.home), XDG_CONFIG_HOME=str(self.home / "config"),
            XDG_DATA_HOME=str(self.home / "data"), XDG_CACHE_HOME=str(self.home / "cache"),
            XDG_RUNTIME_DIR=str(runtime), GSETTINGS_BACKEND="memory", LC_ALL="C.UTF-8",
            **variables)
        if not built_in_calendars:
            for uid, (parent, backend) in BUILT_IN.items():
                self.write_source(uid, DISABLED.format(uid=uid, parent=parent, backend=backend))
        self.server = None
        self.log = self.place / "bus.log"
        command = ["dbus-daemon", "--nofork", "--nopidfile", "--print-address=1"]
        if services:
            command += ["--session", f"--address=unix:dir={self.place}"]
        else:
            configuration = self.place / "bus.conf"
            configuration.write_text(EMPTY_BUS.format(place=self.place))
            command += [f"--config-file={configuration}"]
        with self.log.open("wb") as log:
            self.bus = subprocess.Popen(
                command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=log,
                env=self.environment)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = self.bus.stdout.readline().decode().strip()

    def write_source(self, uid, text):
        """What the registry reads when it starts."""
        (self.sources / f"{uid}.source").write_text(text)

    def start_radicale(self, users=None):
        self.server = Server(self.place, users)
        self.environment.update(QUENBROOK_CALDAV_PORT=str(self.server.port),
                                QUENBROOK_CALDAV_STORAGE=str(self.place / "server"))
        return self.server

    @contextlib.contextmanager
    def scripted_services(self, **options):
        """Those of scripted_services.py, on a bus without the real ones."""
        with subprocess.Popen(
                ["/usr/bin/python3", "-B", str(HERE / "scripted_services.py"), json.dumps(options)],
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, env=self.environment) as process:
            if process.stdout.readline() != b"there\n":
                raise AssertionError("the services did not start")
            try:
                yield
            finally:
                process.stdin.close()

    def run(self, *command, **options):
        environment = {**self.environment, **options.pop("env", {})}
        options = {"timeout": PATIENCE, "check": False, **options}
        return subprocess.run(command, env=environment, **options)

    def processes(self, name):
        """The ids of this session's own processes of a program."""
        marker = f"HOME={self.home}".encode()
        found = []
        for folder in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if (marker in (folder / "environ").read_bytes().split(b"\0") and
                        os.path.basename(os.readlink(folder / "exe")) == name):
                    found.append(int(folder.name))
            except OSError:
                continue
        return found

    def factory(self):
        """The id of the calendar factory, which must be there."""
        [process] = self.processes("evolution-calendar-factory")
        return process

    def stop(self):
        if self.server:
            self.server.stop()
        services = (self.processes("evolution-calendar-factory") +
                    self.processes("evolution-source-registry") +
                    self.processes("evolution-addressbook-factory"))
        self.bus.terminate()
        self.bus.wait()
        self.bus.stdout.close()
        # Without their bus they end by themselves, as a rule.
        deadline = time.monotonic() + 5
        while time.monotonic() < deadline and any(map(is_running, services)):
            time.sleep(0.01)
        for service in filter(is_running, services):
            os.kill(service, signal.SIGKILL)
        shutil.rmtree(self.place, ignore_errors=True)


def is_running(process):
    return pathlib.Path(f"/proc/{process}/exe").exists()


def main(arguments):
    session = PrivateSession()
    try:
        if arguments[0] == "--radicale":
            arguments = arguments[1:]
            session.start_radicale()
        shard = {name: value for name, value in os.environ.items() if name.startswith("GTEST_")}
        status = session.run(*arguments, timeout=None, env=shard).returncode
        if status != 0:
            sys.stderr.write(session.log.read_text())
    finally:
        session.stop()
    sys.exit(status)


if __name__ == "__main__":
    main(sys.argv[1:])
