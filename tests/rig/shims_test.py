"""What the downloader app, made for an older system, meets."""

import harness
from harness import ANSWER, DOWNLOADER, MUSIC, TABLE, Scenario

FAILED = "Attempt to play streaming audio failed."


class Shims(Scenario):
    def test_the_identifier_is_replaced_or_added(self):
        for identifier in (DOWNLOADER, MUSIC, "com.example.other"):
            for without, line in (("", "hook UIDevice uniqueIdentifier"),
                                  ("UIDevice.uniqueIdentifier", "add UIDevice uniqueIdentifier @@:")):
                with self.subTest(identifier=identifier, without=without):
                    app = self.app(identifier, without=without)
                    self.assertEqual(app.loading[-1], line)
                    self.assertEqual(app.do("identifier"), ["asked: UniqueDeviceID", f"uniqueIdentifier: {ANSWER}"])
                    self.assert_ends(app)

    def test_the_identifier_is_nil_where_nobody_answers_with_text(self):
        for without in ("", "UIDevice.uniqueIdentifier"):
            for answer, asked in ((None, []), ("", ["asked: UniqueDeviceID"]), ("7", ["asked: UniqueDeviceID"])):
                with self.subTest(without=without, answer=answer):
                    app = self.downloader(without=without, answer=answer)
                    self.assertEqual(app.do("identifier"), asked + ["uniqueIdentifier: (null)"])
                    self.assert_ends(app)

    def test_the_version_is_an_old_one_in_the_downloader_alone(self):
        for version in ("7.0", "10.3.1"):
            for identifier, told in ((DOWNLOADER, "6.0"), (MUSIC, version), ("com.example.other", version)):
                with self.subTest(version=version, identifier=identifier):
                    app = self.app(identifier, version=version)
                    self.assertEqual(app.do("version"), [f"systemVersion: {told}"])
                    self.assert_ends(app)

    def test_alerts_get_their_buttons_one_by_one(self):
        app = self.downloader()
        # other titles, and those that become buttons: what stands behind the first nil is not read
        titles = (([None], []), (["A"], ["A"]), (["A", "B"], ["A", "B"]), (["A", "B", "C"], ["A", "B", "C"]),
                  ([None, "unread"], []), (["A", None, "unread"], ["A"]))
        for cancel, kept in (("Cancel", ["Cancel"]), (None, [])):
            for others, read in titles:
                with self.subTest(cancel=cancel, others=others):
                    buttons = ", ".join(f'"{title}"' for title in kept + read)
                    start = ", ".join(f'"{title}"' for title in kept)
                    self.assertEqual(app.do("alert", "Title", "Text", "it", cancel, *others),
                                     [f"alert made: Title; Text; delegate; [{start}]"]
                                     + [f"button added: {title}" for title in read]
                                     + [f"alert: [{buttons}], delegate it"])
        self.assertEqual(app.do("alert", None, None, None, None, None),
                         ["alert made: (null); (null); no delegate; []", "alert: [], delegate (null)"])
        self.assert_ends(app)

    def test_the_alert_of_a_failed_stream_reports_to_nobody(self):
        app = self.downloader()
        for others, kept in (([None], ""), (["A"], ', "A"'), (["A", "B", "C"], ', "A"'), ([None, "unread"], "")):
            with self.subTest(others=others):
                buttons = f'["Cancel"{kept}]'
                self.assertEqual(app.do("alert", "Title", FAILED, "it", "Cancel", *others),
                                 [f"alert made: Title; {FAILED}; no delegate; {buttons}",
                                  f"alert: {buttons}, delegate (null)"])
        for other in (FAILED.lower(), FAILED + " ", FAILED[:-1]):
            self.assertEqual(app.do("alert", "Title", other, "it", "Cancel", "A")[-1],
                             'alert: ["Cancel", "A"], delegate it')
        self.assert_ends(app)

    def test_an_alert_that_was_not_made_gets_no_button(self):
        app = self.downloader()
        self.assertEqual(app.do("alert", "refused", "Text", "it", "Cancel", "A", "B"),
                         ['alert made: refused; Text; delegate; ["Cancel"]', "no alert"])
        self.assertEqual(app.do("alert", "refused", FAILED, "it", "Cancel", "A"),
                         [f'alert made: refused; {FAILED}; no delegate; ["Cancel", "A"]', "no alert"])
        self.assert_ends(app)

    def test_set_offset_is_logged_and_nothing_else(self):
        app = self.downloader()
        for value, told in (("3.5", "3.500000"), ("-12.25", "-12.250000"), ("1e6", "1000000.000000")):
            with self.subTest(value=value):
                logged, table = app.do("offset", value)
                view, frame = table.split("> ")
                self.assertEqual(logged, f"log: -[{view}> setOffset:{told}]")
                self.assertEqual(frame, "(1, 2) 3 x 4")
        self.assert_ends(app)

    def test_a_table_that_has_set_offset_keeps_it(self):
        app = self.downloader(old_table=True)
        self.assertIn("add refused UITableView setOffset: v@:d", app.loading)
        self.assertEqual(app.do("offset", "3.5")[0], "table scrolled to 3.5")
        self.assert_ends(app)

    def test_the_progress_bar_is_ten_points_taller(self):
        app = self.downloader()
        self.assertEqual(app.do("cell", "full"), ["transfer's cell made: full",
                                                  "cell: (0, 0) 320 x 44, bar: (10, 20) 200 x 19"])
        self.assertEqual(app.do("cell", "bare"), ["transfer's cell made: bare", "cell: (0, 0) 320 x 44, bar: (null)"])
        self.assert_ends(app)

    def test_a_cell_without_a_variable_or_an_initialiser_of_its_own_lives(self):
        for missing, maker, bar in (
                ("TransfersViewCell._progressBar", "transfer's cell", "(null)"),
                ("TransfersViewCell._progressBar#", "transfer's cell", "(null)"),
                ("UIProgressView", "transfer's cell", "(null)"),
                ("UIView.setFrame:", "transfer's cell", "(10, 20) 200 x 9"),
                ("TransfersViewCell.initWithFrame:reuseIdentifier:", "cell", "(null)")):
            with self.subTest(missing=missing):
                app = self.downloader(without=missing)
                self.assertEqual(app.loading[:-1], TABLE)
                self.assertEqual(app.do("cell", "full"), [f"{maker} made: full",
                                                          f"cell: (0, 0) 320 x 44, bar: {bar}"])
                self.assert_ends(app)


if __name__ == "__main__":
    harness.main()
