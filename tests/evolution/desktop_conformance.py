"""Puts a built program through the conformance suite in a private session:
desktop_conformance.py PROGRAM"""

import http.server
import pathlib
import sys
import threading

CONFORMANCE = pathlib.Path(__file__).resolve().parents[1] / "conformance"
sys.path.insert(0, str(CONFORMANCE))

from desktop import source
from over import HOLIDAY, NEIGHBOUR
from private_session import PrivateSession

ACCOUNT = "[Data Source]\nDisplayName=Work\nEnabled=true\nParent=\n"


class Feed(http.server.BaseHTTPRequestHandler):
    """A subscription with one event."""

    def do_GET(self):
        body = HOLIDAY.encode()
        self.send_response(200)
        self.send_header("Content-Type", "text/calendar")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass


def main(program):
    feed = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Feed)
    threading.Thread(target=feed.serve_forever, daemon=True).start()
    session = PrivateSession()
    try:
        team = session.calendars / "team"
        team.mkdir(parents=True)
        (team / "calendar.ics").write_text(NEIGHBOUR, newline="")
        session.write_source("work", ACCOUNT)
        session.write_source("team", source("Team", parent="work", color="#ff4080"))
        session.write_source("plain", source("Plain", parent=""))
        session.write_source("public", source(
            "Public", parent="webcal-stub", backend="webcal", more=(
                f"\n[Authentication]\nHost=127.0.0.1\nPort={feed.server_address[1]}\n"
                "Method=none\n\n[Security]\nMethod=none\n"
                "\n[WebDAV Backend]\nResourcePath=/public.ics\n")))
        return session.run(
            sys.executable, str(CONFORMANCE / "run"), program, "--calendar", "team", "--disposable",
            "--seen", str(CONFORMANCE / "seen" / "evolution.txt"), timeout=None).returncode
    finally:
        session.stop()
        feed.shutdown()
        feed.server_close()


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
