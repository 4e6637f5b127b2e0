"""How requests are read: what is accepted, what is refused, and that nothing brings it down."""

from cases import Case

# For each word: a whole request, its required keys with a wrong value each, its optional ones.
RECORDS = {
    "list-events": (
        {"startISO": "2020-01-06T00:00:00Z", "endISO": "2020-01-07T00:00:00Z"},
        {"startISO": 1, "endISO": True},
        {"calendarIds": ["x"]}, {"calendarIds": ["text", {"a": 1}, [1], [None], True]}),
    "get-event": (
        {"calendarId": "c", "eventId": "e"}, {"calendarId": [], "eventId": {}}, {}, {}),
    "get-attendee-status": ({"id": "e"}, {"id": 7}, {}, {}),
    "cancel-event": ({"id": "e"}, {"id": False}, {"reason": "r"}, {"reason": [1, ["r"], {}]}),
    "update-event": (
        {"id": "e", "patch": {}}, {"id": 1.5, "patch": "text"}, {}, {}),
    "create-event": (
        {"calendarId": "c", "title": "t", "startISO": "2026-01-01T00:00:00Z",
         "endISO": "2026-01-01T01:00:00Z"},
        {"calendarId": 1, "title": ["t"], "startISO": {}, "endISO": 0},
        {}, {}),
}

# The fields that create-event and the patch of update-event share, with values of a wrong type.
EVENT_FIELDS = {
    "isAllDay": [1, 0, "true", [], {}],
    "location": [1, True, [], {}],
    "notes": [1, True, [], {}],
    "attendees": ["a@example.com", [1], [None], {}, 1],
    "alarmMinutes": [15, ["15"], [1.5], [None], [True], {}, [2 ** 63], [-2 ** 63 - 1], [1e19],
                     [0.5]],
    "attendeesV2": [["a@example.com"], [{}], [{"name": "x"}], [{"email": 1}],
                    [{"email": "a@example.com", "name": 1}], {}, "x"],
    "sendInvitations": ["yes", 1, 0, []],
    "recurrenceRule": ["daily", [], {}, {"frequency": "weekly"}, {"interval": 1},
                       {"frequency": 1, "interval": 1}, {"frequency": "daily", "interval": "1"},
                       {"frequency": "daily", "interval": 1.5},
                       {"frequency": "daily", "interval": True},
                       {"frequency": "daily", "interval": 1, "count": "3"},
                       {"frequency": "daily", "interval": 1, "untilISO": 3},
                       {"frequency": "daily", "interval": None}],
}


class Requests(Case):
    def test_refuses_what_is_not_json(self):
        for request in ("{", "}", "nonsense", "{'id':'x'}", '{"id":"x"', '{"id":"x"}}', '{"id":}',
                        '{"id":"x",}', '{id:"x"}', '{"id":"x"} {"id":"x"}', '{"id":"\n"}',
                        '{"id":"\\x41"}', '{"id":"\\u12"}', '{"id":"x"}//', "NaN", "+1", "01",
                        '{"id":"x","a":01}', '{"id":"x","a":1.}', '{"id":"x","a":.5}',
                        '{"id":"x","a":NaN}', '{"id":"x","a":Infinity}', "\ufeff", "tru"):
            with self.subTest(request=request):
                self.assertInvalidJSON(self.run_program("get-attendee-status", request=request))

    def test_refuses_a_document_that_is_no_object(self):
        for request in ("[]", '[{"id":"x"}]', '"x"', "1", "1.5", "true", "null", "[[]]"):
            for word in RECORDS:
                with self.subTest(word=word, request=request):
                    self.assertInvalidJSON(self.run_program(word, request=request), "object")

    def test_names_the_required_key_that_is_missing_null_or_mistyped(self):
        for word, (whole, wrong, _, _) in RECORDS.items():
            for key, value in wrong.items():
                without = {name: other for name, other in whole.items() if name != key}
                for request in (without, {**whole, key: None}, {**whole, key: value}):
                    with self.subTest(word=word, request=request):
                        self.assertInvalidJSON(self.run_program(word, request=request), key)

    def test_names_the_optional_key_that_is_mistyped(self):
        for word, (whole, _, _, wrong) in RECORDS.items():
            for key, values in wrong.items():
                for value in values:
                    with self.subTest(word=word, key=key, value=value):
                        self.assertInvalidJSON(
                            self.run_program(word, request={**whole, key: value}), key)

    def test_checks_the_type_of_every_event_field(self):
        for key, values in EVENT_FIELDS.items():
            for value in values:
                with self.subTest(key=key, value=value):
                    whole = RECORDS["create-event"][0]
                    self.assertInvalidJSON(
                        self.run_program("create-event", request={**whole, key: value}), key)
                    self.assertInvalidJSON(
                        self.run_program(
                            "update-event", request={"id": "e", "patch": {key: value}}), key)
        self.assertInvalidJSON(self.run_program(
            "update-event", request={"id": "e", "patch": {"clearRecurrenceRules": "yes"}}),
            "clearRecurrenceRules")

    def test_takes_a_whole_number_for_an_integer_as_long_as_it_is_exact(self):
        def change(number):
            return self.run_program(
                "update-event", request='{"id":"e","patch":{"alarmMinutes":[' + number + ',0]}}')

        for number in ("15", "15.0", "1.5e1", "1500E-2", "-0.0", "9007199254740991.0",
                       "9007199254740993", "-9223372036854775808", "0e99999999999"):
            with self.subTest(number=number):
                self.assertError(change(number), "EVENT_NOT_FOUND", "e")
        for number in ("1.5", "1e18", "9007199254740993.0", "9223372036854775808", "1e-1"):
            with self.subTest(number=number):
                self.assertInvalidJSON(change(number), "alarmMinutes[0]", "integer")
        for number in ("1e400", "1e99999999999", "9" * 400):
            with self.subTest(number=number):
                self.assertInvalidJSON(change(number), "number")

    def test_takes_null_for_an_optional_key_that_is_absent(self):
        for key in [*EVENT_FIELDS, "clearRecurrenceRules"]:
            with self.subTest(key=key):
                self.assertError(self.run_program(
                    "update-event", request={"id": "e", "patch": {key: None}}),
                    "EVENT_NOT_FOUND", "e")
        self.assertError(self.run_program("cancel-event", request={"id": "e", "reason": None}),
                         "EVENT_NOT_FOUND", "e")
        self.answer("list-events", {**RECORDS["list-events"][0], "calendarIds": None})

    def test_reads_the_request_before_it_looks_for_the_event(self):
        self.assertInvalidJSON(
            self.run_program("update-event", request={"id": "unknown", "patch": {"title": 1}}),
            "title")

    def test_ignores_keys_it_does_not_know(self):
        for request in ('{"id":"e","extra":1}', '{"id":"e","ID":2,"Id":null}',
                        '{"extra":{"id":1,"a":[[[{}]]]},"id":"e"}',
                        '{"id":"e","big":1' + "0" * 300 + '}', '{"id":"e","big":[-1e300]}',
                        '{"id":"e","deep":' + "[" * 1000 + "]" * 1000 + "}"):
            with self.subTest(request=request[:60]):
                self.assertError(self.run_program("get-attendee-status", request=request),
                                 "EVENT_NOT_FOUND", "e")

    def test_takes_keys_exactly(self):
        for request in ('{"ID":"e"}', '{"id ":"e"}', '{"eventId":"e"}', '{"Id":"e"}'):
            with self.subTest(request=request):
                self.assertInvalidJSON(
                    self.run_program("get-attendee-status", request=request), "id")
        self.assertInvalidJSON(self.run_program("get-event", request='{"id":"X"}'), "calendarId")

    def test_reads_keys_and_values_with_escapes(self):
        self.assertError(
            self.run_program(
                "get-attendee-status", request=r'{"\u0069d":"\u0065\ud83d\uddd3\n\/"}'),
            "EVENT_NOT_FOUND", "e\U0001F5D3\n/")

    def test_reads_a_document_with_white_space_around(self):
        for around in (" \n\t\r", "\u00a0", "\u2028\u3000\n", "\u200b", "\n\u200b "):
            with self.subTest(around=around):
                self.assertError(
                    self.run_program(
                        "get-attendee-status", request=around + '{ "id" : "e" }' + around),
                    "EVENT_NOT_FOUND", "e")

    def test_trims_the_document_and_not_its_texts(self):
        self.assertError(self.run_program("get-attendee-status", request={"id": "  e\u00a0"}),
                         "EVENT_NOT_FOUND", "  e\u00a0")

    def test_answers_hostile_documents_with_a_clear_error(self):
        cases = {
            "open brackets": b"[" * 100_000,
            "open braces": b'{"a":' * 100_000,
            "closed brackets": b"[" * 100_000 + b"]" * 100_000,
            "a NUL byte": b'{"id":"a\0b"}',
            "NUL after the document": b'{"id":"e"}\0',
            "only NUL": b"\0\0\0",
            "a lone high surrogate": rb'{"id":"\ud800"}',
            "a lone low surrogate": rb'{"id":"\udc00"}',
            "surrogates in the wrong order": rb'{"id":"\udc00\ud800"}',
            "a half surrogate pair": rb'{"id":"\ud83dx"}',
            "a number without end": b'{"id":' + b"9" * 1_000_000 + b"}",
            "an exponent": b'{"id":1e999999}',
        }
        for what, request in cases.items():
            with self.subTest(what):
                self.assertInvalidJSON(self.run_program("get-attendee-status", request=request))

    def test_passes_over_deep_values_it_does_not_know(self):
        deep = '{"id":"e","x":' + "[" * 100_000 + "]" * 100_000 + "}"
        self.assertError(self.run_program("get-attendee-status", request=deep),
                         "EVENT_NOT_FOUND", "e")

    def test_keeps_an_escaped_nul_in_a_text(self):
        result = self.run_program("get-attendee-status", request=rb'{"id":"a\u0000b"}')
        self.assertEqual(result.err, rb'{"code":"EVENT_NOT_FOUND","error":"a\u0000b"}' + b"\n")

    def test_refuses_dates_that_are_none_naming_them_as_received(self):
        good = "2026-01-01T00:00:00Z"
        for text in ("", " ", "2025-03-14", "2025-03-14T09:30:00", "free text", good + " ",
                     " " + good, "2026-02-30T00:00:00Z", "2026-02-29T00:00:00Z",
                     "2026-13-01T00:00:00Z", "2026-00-01T00:00:00Z", "2026-01-00T00:00:00Z",
                     "2026-01-32T00:00:00Z", "2026-01-01T24:00:01Z", "2026-01-01T25:00:00Z",
                     "2026-01-01T00:60:00Z", "2026-01-01T00:00:61Z", "1767225600",
                     "2026-01-01T00:00:00.Z", "2026-1-1T00:00:00Z", "26-01-01T00:00:00Z",
                     "2026-01-01T00:00:00+25:00", "2026-01-01T00:00:00+02:60",
                     "2026-01-01T00:00:00.000", "٢٠٢٦-01-01T00:00:00Z", "2026/01/01T00:00:00Z",
                     "2026-01-01T00:00:00Z\n", "a\"b\\c/d"):
            with self.subTest(text=text):
                message = "Cannot parse ISO 8601 date: " + text
                self.assertError(self.run_program(
                    "list-events", request={"startISO": text, "endISO": good}),
                    "INVALID_DATE", message)
                self.assertError(self.run_program(
                    "list-events", request={"startISO": good, "endISO": text}),
                    "INVALID_DATE", message)

    def test_reports_the_start_when_both_dates_are_bad(self):
        self.assertError(self.run_program(
            "list-events", request={"startISO": "first", "endISO": "second"}),
            "INVALID_DATE", "Cannot parse ISO 8601 date: first")

    def test_accepts_both_forms_of_a_date_with_any_offset(self):
        for text in ("2026-01-01T00:00:00Z", "2026-01-01T00:00:00.5Z",
                     "2026-01-01T00:00:00.250Z", "2026-01-01T00:00:00.123456789012Z",
                     "2026-01-01T05:30:00+05:30", "2025-12-31T14:00:00.000-10:00",
                     "2026-01-01T00:00:00+00:00", "0001-01-01T00:00:00Z",
                     "2024-02-29T12:00:00Z"):
            with self.subTest(text=text):
                self.answer("list-events", {"startISO": text, "endISO": text})
