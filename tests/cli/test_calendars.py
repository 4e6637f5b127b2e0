"""What list-calendars says of the folders in the store."""

import os
import unittest

from quenbrook import QuenbrookTest, write


class Calendars(QuenbrookTest):
    def calendars(self, **options):
        return self.answer("list-calendars", **options)["calendars"]

    def one(self, identifier):
        found = [calendar for calendar in self.calendars() if calendar["id"] == identifier]
        self.assertEqual(len(found), 1, identifier)
        return found[0]

    def test_lists_nothing_in_an_empty_store(self):
        self.assertEqual(self.run_program("list-calendars").out, b'{"calendars":[]}\n')

    def test_lists_calendars_with_and_without_account_in_bytewise_order(self):
        self.account("zeta", displayname="Zeta Mail", type="caldav")
        self.calendar("zeta/b", displayname="Second", color="#ff3b30")
        self.calendar("zeta/A", displayname="First")
        self.calendar("work", displayname="Work", color="#00ff00")
        self.calendar("Upper")
        self.calendar("éclair")
        self.assertEqual(self.run_program("list-calendars").out, (
            '{"calendars":['
            '{"id":"Upper","name":"Upper","writable":true},'
            '{"color":"#00FF00","id":"work","name":"Work","writable":true},'
            '{"id":"zeta\\/A","name":"First","source":"Zeta Mail","sourceType":"caldav",'
            '"writable":true},'
            '{"color":"#FF3B30","id":"zeta\\/b","name":"Second","source":"Zeta Mail",'
            '"sourceType":"caldav","writable":true},'
            '{"id":"éclair","name":"éclair","writable":true}]}\n').encode())

    def test_orders_by_the_whole_identifier(self):
        for folder in ("a/z", "a-b", "a0", "b/a", "b.c"):
            self.calendar(folder)
        self.assertEqual(
            [calendar["id"] for calendar in self.calendars()], ["a-b", "a/z", "a0", "b.c", "b/a"])

    def test_tells_every_type_of_account(self):
        types = {"local": ("local", True), "exchange": ("exchange", True),
                 "caldav": ("caldav", True), "mobileme": ("caldav", True),
                 "subscription": ("subscription", False), "birthdays": ("birthdays", False),
                 "webdav": ("unknown", True), "LOCAL": ("unknown", True), "5": ("unknown", True),
                 "  caldav \r\n": ("caldav", True)}
        for number, (text, (word, writable)) in enumerate(types.items()):
            with self.subTest(type=text):
                folder = f"account{number}"
                self.account(folder, displayname="Account", type=text)
                self.calendar(f"{folder}/calendar", displayname="Calendar")
                self.assertEqual(self.one(f"{folder}/calendar"), {
                    "id": f"{folder}/calendar", "name": "Calendar", "source": "Account",
                    "sourceType": word, "writable": writable})

    def test_takes_an_account_for_a_local_one_named_after_its_folder(self):
        self.calendar("account/calendar")
        self.assertEqual(self.one("account/calendar"), {
            "id": "account/calendar", "name": "calendar", "source": "account",
            "sourceType": "local", "writable": True})

    def test_reads_colours(self):
        colors = {"#1BADF8": "#1BADF8", "#1badf8": "#1BADF8", "#1BADF880": "#1BADF8",
                  " #000000\n": "#000000", "#ffffffff\r\n": "#FFFFFF",
                  "#12345": None, "#1234567": None, "#12345g": None, "1BADF8": None, "red": None,
                  "": None, "#": None, "#123": None, "#1BADF8 x": None, "#1BADF8\n#000000": None,
                  "#-1-1-1": None, "# 1 2 3": None, "#0x0x0x": None, "＃1BADF8": None,
                  "#1BADF8\0": None}
        for number, (text, color) in enumerate(colors.items()):
            with self.subTest(color=text):
                self.calendar(f"c{number}", color=text)
                self.assertEqual(self.one(f"c{number}").get("color"), color)
                self.assertEqual("color" in self.one(f"c{number}"), color is not None)

    def test_reads_names(self):
        names = {"Plain": "Plain", "  around \t\r\n": "around", "Café 🗓": "Café 🗓",
                 'quote " and \\ and /': 'quote " and \\ and /', "in  side": "in  side",
                 "\u00a0no-break\u3000": "no-break"}
        for number, (text, name) in enumerate(names.items()):
            with self.subTest(name=text):
                self.calendar(f"c{number}", displayname=text)
                self.assertEqual(self.one(f"c{number}")["name"], name)
        self.account("account", displayname=" Ωmega \n")
        self.calendar("account/c")
        self.assertEqual(self.one("account/c")["source"], "Ωmega")

    def test_takes_the_name_of_the_folder_where_the_file_is_no_text(self):
        self.calendar("work", displayname=b"caf\xe9 x")
        self.assertEqual(self.one("work")["name"], "work")

    def test_replaces_what_is_no_text_in_the_name_of_a_folder(self):
        os.mkdir(os.fsencode(self.store) + b"/f\xff")
        names = [calendar["name"] for calendar in self.calendars()]
        self.assertIn("f\ufffd", names)

    def test_lists_two_calendars_of_one_name(self):
        self.calendar("a", displayname="Same")
        self.calendar("b", displayname="Same")
        self.assertEqual([c["name"] for c in self.calendars()], ["Same", "Same"])

    def test_passes_over_files_and_dot_folders(self):
        self.calendar(".hidden")
        self.calendar("account/.hidden")
        self.calendar("account/shown")
        self.calendar("plain/.hidden")
        write(self.store / "file", "text")
        write(self.store / "stray.ics", "text")
        self.assertEqual([c["id"] for c in self.calendars()], ["account/shown", "plain"])

    def test_looks_no_deeper_than_two_folders(self):
        self.calendar("account/calendar/deeper/still")
        self.assertEqual([c["id"] for c in self.calendars()], ["account/calendar"])

    def test_follows_links_to_folders(self):
        elsewhere = self.place / "elsewhere"
        (elsewhere / "inner").mkdir(parents=True)
        (self.place / "single").mkdir()
        (self.store / "account").symlink_to(elsewhere)
        (self.store / "linked").symlink_to(self.place / "single")
        (self.store / "dangling").symlink_to(self.place / "nowhere")
        (self.store / "loop").symlink_to("loop")
        (self.store / "tofile").symlink_to(self.place / "file")
        write(self.place / "file", "text")
        self.assertEqual([c["id"] for c in self.calendars()], ["account/inner", "linked"])

    def test_survives_a_link_to_the_store_itself(self):
        (self.store / "itself").symlink_to(self.store)
        self.calendar("work")
        self.assertIn("work", [c["id"] for c in self.calendars()])

    def test_survives_odd_things_in_place_of_its_files(self):
        (self.calendar("folders") / "displayname").mkdir()
        (self.store / "folders" / "color").mkdir()
        os.mkfifo(self.calendar("fifos") / "displayname")
        os.mkfifo(self.store / "fifos" / "color")
        os.mkfifo(self.folder("account") / "type")
        self.calendar("account/c")
        (self.calendar("devices") / "displayname").symlink_to("/dev/zero")
        (self.store / "devices" / "color").symlink_to("/dev/zero")
        (self.calendar("dangling") / "displayname").symlink_to("nowhere")
        listed = {calendar["id"]: calendar for calendar in self.calendars()}
        # A folder in the place of displayname makes the outer folder an account.
        self.assertEqual(listed["fifos"]["name"], "fifos")
        self.assertEqual(listed["devices"]["name"], "devices")
        self.assertEqual(listed["dangling"]["name"], "dangling")
        self.assertEqual(listed["account/c"]["sourceType"], "local")
        self.assertNotIn("color", listed["devices"])

    def test_changes_nothing_in_a_store_that_is_there(self):
        self.calendar("work", displayname="Work")
        before = sorted(self.place.rglob("*"))
        self.calendars()
        self.assertEqual(sorted(self.place.rglob("*")), before)


if __name__ == "__main__":
    unittest.main()
