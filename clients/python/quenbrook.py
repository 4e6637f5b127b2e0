"""A person's calendars, through the program quenbrook: one run of it for each call.

Answers are what the protocol says, under the protocol's names. A call raises QuenbrookError when the program
refuses, OutcomeUnknown when nobody can tell what became of it, OSError when the program cannot be started,
and ValueError or TypeError, with nothing started, when a request cannot be one. An object keeps nothing
between calls: threads may share it.
"""

from __future__ import annotations

import json
import os
import subprocess
from datetime import datetime, timezone
from typing import Any, Dict, List, Literal, NoReturn, Optional, Tuple, TypedDict, Union, cast

Frequency = Literal["daily", "weekly", "monthly", "yearly"]


class _CalendarAlways(TypedDict):
    id: str
    name: str
    writable: bool


class Calendar(_CalendarAlways, total=False):
    source: str
    sourceType: Literal["local", "exchange", "caldav", "subscription", "birthdays", "unknown"]
    color: str


class Attendee(TypedDict):
    email: str
    name: str
    status: Literal["pending", "accepted", "declined", "unknown"]


class _RecurrenceRuleAlways(TypedDict):
    frequency: Frequency
    interval: int


class RecurrenceRule(_RecurrenceRuleAlways, total=False):
    count: int
    untilISO: str
    daysOfWeek: List[int]
    daysOfMonth: List[int]
    monthsOfYear: List[int]


class _EventAlways(TypedDict):
    id: str
    calendarId: str
    title: str
    startISO: str
    endISO: str
    isAllDay: bool
    attendees: List[Attendee]
    hasAlarms: bool
    recurrenceRuleCount: int
    recurrenceRules: List[RecurrenceRule]


class Event(_EventAlways, total=False):
    location: str
    notes: str
    lastModifiedISO: str
    categories: List[Literal["velmoria-sync", "no-sync"]]
    availability: Literal["busy", "free", "tentative", "unavailable"]


class _WarningAlways(TypedDict):
    code: str
    message: str


class ChangeWarning(_WarningAlways, total=False):
    detail: str


class _CreatedAlways(TypedDict):
    id: str
    calendarId: str
    startISO: str
    endISO: str


class Created(_CreatedAlways, total=False):
    warnings: List[ChangeWarning]


class _UpdatedAlways(TypedDict):
    id: str
    updated: Literal[True]


class Updated(_UpdatedAlways, total=False):
    warnings: List[ChangeWarning]


class Cancelled(TypedDict):
    id: str
    cancelled: Literal[True]


class NewRecurrenceRule(_RecurrenceRuleAlways, total=False):
    count: int
    untilISO: Union[str, datetime]


class _InviteeAlways(TypedDict):
    email: str


class Invitee(_InviteeAlways, total=False):
    name: str


class QuenbrookError(Exception):
    """The program refused, and nothing was changed unless its page says otherwise. `code` is one of the
    protocol's, `message` is for people."""

    def __init__(self, code: str, message: str) -> None:
        super().__init__(code, message)
        self.code = code
        self.message = message

    def __str__(self) -> str:
        return f"{self.code}: {self.message}"


class OutcomeUnknown(Exception):
    """The program was killed, ran out of its time or said what it never says: a change may have been
    made or not."""


def parse_date(text: str) -> datetime:
    """A date of an answer, in UTC."""
    return datetime.fromisoformat(text.replace("Z", "+00:00"))


def _date(value: object) -> str:
    if not isinstance(value, datetime):
        raise TypeError(f"a datetime was expected, not {value!r}")
    if value.utcoffset() is None:
        raise ValueError(f"a datetime without a time zone: {value!r}")
    return value.astimezone(timezone.utc).isoformat(timespec="milliseconds").replace("+00:00", "Z")


def _optional_date(value: Optional[datetime]) -> Optional[str]:
    return None if value is None else _date(value)


def _given(**values: object) -> Dict[str, object]:
    return {key: value for key, value in values.items() if value is not None}


class Quenbrook:
    """`program` is a name to be found in PATH, or a path. A run that lasts longer than `timeout` seconds is
    killed; None waits for as long as it takes."""

    def __init__(self, program: Union[str, os.PathLike[str]] = "quenbrook",
                 timeout: Optional[float] = None) -> None:
        self.program = program
        self.timeout = timeout

    def list_calendars(self) -> List[Calendar]:
        return cast(List[Calendar], self._run("list-calendars", {})["calendars"])

    def list_events(self, start: datetime, end: datetime,
                    calendar_ids: Union[List[str], Tuple[str, ...], None] = None) -> List[Event]:
        """Every occurrence in the range. Of calendars that are not known the others are searched; with none
        that is, or an empty list, all are."""
        request = _given(startISO=_date(start), endISO=_date(end), calendarIds=calendar_ids)
        return cast(List[Event], self._run("list-events", request)["events"])

    def get_event(self, calendar_id: str, event_id: str) -> Event:
        request = {"calendarId": calendar_id, "eventId": event_id}
        return cast(Event, self._run("get-event", request)["event"])

    def get_attendee_status(self, id: str) -> List[Attendee]:
        return cast(List[Attendee], self._run("get-attendee-status", {"id": id})["attendees"])

    def create_event(self, *, calendar_id: str, title: str, start: datetime, end: datetime,
                     is_all_day: Optional[bool] = None, location: Optional[str] = None,
                     notes: Optional[str] = None, alarm_minutes: Optional[List[int]] = None,
                     recurrence_rule: Optional[NewRecurrenceRule] = None,
                     attendees_v2: Optional[List[Invitee]] = None) -> Created:
        """Addresses in attendees_v2 are checked, and nobody is invited."""
        request = _given(
            calendarId=calendar_id, title=title, startISO=_date(start), endISO=_date(end),
            isAllDay=is_all_day, location=location, notes=notes, alarmMinutes=alarm_minutes,
            recurrenceRule=recurrence_rule, attendeesV2=attendees_v2)
        return cast(Created, self._run("create-event", request))

    def update_event(self, id: str, *, title: Optional[str] = None, start: Optional[datetime] = None,
                     end: Optional[datetime] = None, is_all_day: Optional[bool] = None,
                     location: Optional[str] = None, notes: Optional[str] = None,
                     alarm_minutes: Optional[List[int]] = None,
                     recurrence_rule: Optional[NewRecurrenceRule] = None,
                     clear_recurrence_rules: Optional[bool] = None) -> Updated:
        """What is left out, or None, stays as it is; an empty text or list empties."""
        patch = _given(
            title=title, startISO=_optional_date(start), endISO=_optional_date(end), isAllDay=is_all_day,
            location=location, notes=notes, alarmMinutes=alarm_minutes, recurrenceRule=recurrence_rule,
            clearRecurrenceRules=clear_recurrence_rules)
        return cast(Updated, self._run("update-event", {"id": id, "patch": patch}))

    def cancel_event(self, id: str) -> Cancelled:
        return cast(Cancelled, self._run("cancel-event", {"id": id}))

    def _run(self, word: str, request: Dict[str, Any]) -> Any:
        text = json.dumps(request, allow_nan=False, default=_date)
        try:
            run = subprocess.run([self.program, word], input=text.encode(), stdout=subprocess.PIPE,
                                 stderr=subprocess.PIPE, timeout=self.timeout, check=False)
        except subprocess.TimeoutExpired:
            raise OutcomeUnknown(f"{word} took longer than {self.timeout} seconds") from None
        if run.returncode != 0:
            _fail(word, run.returncode, run.stderr)
        try:
            return json.loads(run.stdout)
        except ValueError:
            raise OutcomeUnknown(f"{word} ended without an answer") from None


def _fail(word: str, status: int, said: bytes) -> NoReturn:
    """The error line is the last one: what starts the program may have its own to say."""
    line = said.decode(errors="replace").strip().rpartition("\n")[2]
    try:
        record = json.loads(line)
        error = QuenbrookError(record["code"], record["error"])
    except (ValueError, LookupError, TypeError):
        end = f"was killed by signal {-status}" if status < 0 else f"ended with status {status}"
        raise OutcomeUnknown(f"{word} {end}: {line}") from None
    raise error
