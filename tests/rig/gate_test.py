"""What is installed in which app on which system."""

import harness
from harness import DOWNLOADER, IDENTIFIER_REPLACED, MUSIC, TABLE, Scenario

OLD_MUSIC = "com.apple.mobileipod"


class Gate(Scenario):
    def test_below_7_nothing_is_installed_in_any_app(self):
        for version in ("6.1", "6.1.6", "5.0", "6.9999"):
            for identifier in (DOWNLOADER, MUSIC, OLD_MUSIC, "com.example.other"):
                with self.subTest(version=version, identifier=identifier):
                    app = self.app(identifier, version=version)
                    self.assertEqual(app.loading, [])
                    self.assertEqual(app.do("version"), [f"systemVersion: {version}"])
                    self.assertEqual(app.do("identifier"), ["uniqueIdentifier: the device's own"])
                    self.assert_ends(app)
        self.assertEqual(self.device.files(), ["var/mobile/Media/Downloads"])

    def test_from_7_on_the_downloader_gets_the_table(self):
        # the last is 7 in single precision, which is what is compared
        for version in ("7.0", "7.0.4", "7.1", "8.4", "10.0", "6.99999999"):
            with self.subTest(version=version):
                app = self.downloader(version=version)
                self.assertEqual(app.loading, TABLE + [IDENTIFIER_REPLACED])
                self.assert_ends(app)
        self.assertEqual(self.device.files(), ["var/mobile/Media/Downloads"])

    def test_the_music_app_gets_the_engine_and_the_identifier(self):
        for identifier in (MUSIC, OLD_MUSIC):
            for version in ("7.0", "10.0"):
                with self.subTest(identifier=identifier, version=version):
                    app = self.app(identifier, version=version)
                    self.assertEqual(app.loading, ["library setImportationEnabled YES", IDENTIFIER_REPLACED])
                    for folder in (self.device.drop, self.device.music, self.device.artwork):
                        self.assertEqual(list(folder.iterdir()), [])
                    self.assertEqual(self.device.records(), {})
                    self.assertEqual(app.do("version"), [f"systemVersion: {version}"])
                    self.assert_ends(app)

    def test_any_other_app_gets_the_identifier_alone(self):
        for identifier in ("com.example.other", "com.apple.music", "com.quillet.downloader2", ""):
            with self.subTest(identifier=identifier):
                app = self.app(identifier)
                self.assertEqual(app.loading, [IDENTIFIER_REPLACED])
                self.assertEqual(app.do("version"), ["systemVersion: 7.0"])
                self.assertEqual(app.do("offset", "1")[0].split(":")[0], "exception")
                self.assert_ends(app)
        self.assertEqual(self.device.files(), ["var/mobile/Media/Downloads"])

    def test_without_a_device_nothing_is_installed(self):
        app = self.downloader(without="UIDevice")
        self.assertEqual(app.loading, [])
        self.assert_ends(app)

    def test_a_class_that_is_missing_costs_its_own_rows(self):
        rows = {}
        for row in TABLE:
            rows.setdefault(row.split()[1], []).append(row)
        del rows["UIDevice"]
        for missing, lost in rows.items():
            with self.subTest(missing=missing):
                app = self.downloader(without=missing)
                self.assertEqual(app.loading, [row for row in TABLE if row not in lost] + [IDENTIFIER_REPLACED])
                self.assert_ends(app)

    def test_a_method_that_is_missing_is_not_replaced(self):
        for owner, selector in (("ImportViewController", "importFiles:"),
                                ("UIAlertView", "initWithTitle:message:delegate:cancelButtonTitle:otherButtonTitles:")):
            with self.subTest(selector=selector):
                app = self.downloader(without=f"{owner}.{selector}")
                row = f"hook {owner} {selector}"
                self.assertEqual(app.loading, [line.replace(row, f"hook refused {owner} {selector}") for line in TABLE]
                                 + [IDENTIFIER_REPLACED])
                self.assert_ends(app)


if __name__ == "__main__":
    harness.main()
