"""Ink files from elsewhere, dropped or chosen, go through the service and come back as pages."""

import os

from world import ActionChains, Keys, Story, run, unittest, wait_for


class ImportTest(Story):
    def sample(self, name):
        return os.path.join(os.environ["SAMPLES"], name)

    def setUp(self):
        super().setUp()
        # A browser opens a file that is dropped on a window which does not listen yet.
        wait_for("the window to take drops", lambda: self.all(".drop-veil"))

    def drag(self, kind, *files):
        self.cdp("Input.dispatchDragEvent", type=kind, x=400, y=400,
                 data={"items": [], "files": list(files), "dragOperationsMask": 1})

    def drop(self, *files):
        for kind in ("dragEnter", "dragOver", "drop"):
            self.drag(kind, *files)

    def drag_in(self, *files):
        """Again, until the window says where to drop: the browser moves its pointer when what lies below has
        changed, and that ends a drag."""
        def is_expected():
            self.drag("dragCancel", *files)
            self.drag("dragEnter", *files)
            return any(veil.is_displayed() for veil in self.all(".drop-veil"))
        wait_for("the window to say where to drop", is_expected)

    def pages(self):
        return {page["address"]: page["strokes"] for page in self.api("/api/pages")["pages"]}

    def file(self, name, text):
        path = self.world.path(name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def test_a_file_is_dropped_anywhere(self):
        self.drop(self.sample("note.inkml"))
        self.notice("note.inkml is imported.")
        self.gone(".drop-veil")
        wait_for("its page", lambda: self.pages().get("1.2.7.1") == 39)

    def test_the_window_says_where_to_drop_until_the_drag_ends(self):
        self.drag_in(self.sample("note.inkml"))
        self.js("dispatchEvent(new DragEvent('dragleave'))")
        self.gone(".drop-veil")
        self.drag_in(self.sample("note.inkml"))
        ActionChains(self.driver).move_by_offset(20, 20).perform()
        self.gone(".drop-veil")

    def test_a_file_is_dropped_on_an_open_pad(self):
        self.open("#/pad")
        self.one(".pad-sheet")
        self.drop(self.sample("handwriting.inkml"))
        self.notice("handwriting.inkml is imported.")
        wait_for("its pages", lambda: self.pages().get("1.2.3.4") and self.pages().get("1.2.3.5"))

    def test_files_are_chosen(self):
        line = ('<ink xmlns="http://www.w3.org/2003/InkML"><traceGroup><annotation type="page">3.0.0.{0}</annotation>'
                '<trace>10 10, 20 {0}</trace></traceGroup></ink>')
        paths = [self.file(f"{number}.inkml", line.format(number)) for number in (1, 2)]
        self.cdp("Page.enable")
        self.cdp("Page.setInterceptFileChooserDialog", enabled=True)
        self.named("Import ink files").click()
        self.driver.find_element("css selector", "input[type=file]").send_keys("\n".join(paths))
        self.notice("2 files are imported.")
        wait_for("both pages", lambda: {"3.0.0.1", "3.0.0.2"} <= self.pages().keys())

    def test_one_drop_of_many_files_is_told_in_one_notice(self):
        self.may_complain = ["422"]
        bare = '<ink xmlns="http://www.w3.org/2003/InkML"><trace>1 1, 5 {}</trace></ink>'
        good = [self.file(f"bare{number}.inkml", bare.format(number)) for number in range(6)]
        self.drop(*good, self.file("letter.inkml", "Dear Ada"))
        notice = self.notice("6 files are imported.")
        self.assertIn("letter.inkml was not imported.", notice.text)
        self.assertEqual(len(self.all(".notice")), 1)
        self.named("Details").click()
        lines = [line.text for line in self.all("dialog li")]
        self.assertEqual([line.split(" ")[0] for line in lines], ["letter.inkml"] + [f"bare{number}.inkml:" for number in range(6)])
        self.named("Close", "dialog button").click()
        self.gone("dialog")

    def test_markup_in_a_files_name_is_text(self):
        name = "<b title=\"&lt;\">bold<img src=x>"
        path = self.file(name + ".inkml", '<ink xmlns="http://www.w3.org/2003/InkML"><trace>1 1, 5 77</trace></ink>')
        self.drop(path)
        self.notice(name + ".inkml is imported.")
        wait_for("the page that is called so", lambda: name in self.titles())
        self.said(name)
        self.assertEqual(self.all("b, img[src=x]"), [])

    def test_what_is_no_ink_is_refused_with_the_reason(self):
        self.may_complain = ["422"]
        self.drop(self.file("letter.inkml", "Dear Ada"))
        notice = self.notice("letter.inkml was not imported.")
        self.assertIn("is-error", notice.get_attribute("class"))
        self.said("letter.inkml was not imported.")

    def test_a_file_that_was_opened_in_vain_is_told_once(self):
        self.open("#/?refused=1")
        notice = self.notice("1 file could not be taken in")
        self.assertIn("is-error", notice.get_attribute("class"))
        self.assertEqual(self.driver.execute_script("return location.hash"), "#/")

    def test_sealed_ink_is_shown_as_such_and_leaves_as_it_came(self):
        for command in (["keygen", "-q", "-o", self.world.path("key")],
                        ["convert", "-q", self.sample("note.inkml"), "-o", self.world.path("secret.stf2")],
                        ["seal", "-q", "--key", self.world.path("key.pub"), self.world.path("secret.stf2")]):
            run(os.environ["STF2"], *command)
        sealed = next(name for name in os.listdir(self.world.root) if name.startswith("secret") and name != "secret.stf2")
        self.drop(self.world.path(sealed))
        card = wait_for("its card", lambda: next((c for c in self.all(".card") if "sealed" in (c.accessible_name or "")), None))
        self.assertTrue(card.find_elements("css selector", ".card-no-ink"))
        card.click()
        self.one(".page-reason")
        self.assertEqual([e for e in self.all(".replay") if e.is_displayed()], [])
        self.keys("e")
        items = [item.text.split("\n")[0] for item in self.all("[role=menuitem]")]
        self.assertEqual(items, ["STF2"])
        self.keys(Keys.ENTER)
        with open(self.downloaded("stf2"), "rb") as file:
            self.assertEqual(file.read(8)[4:], b"STFE")

    def test_what_an_import_had_to_assume_is_told(self):
        self.drop(self.file("bare.inkml", '<ink xmlns="http://www.w3.org/2003/InkML"><trace>1 1, 5 5</trace></ink>'))
        self.notice("bare.inkml: ")


if __name__ == "__main__":
    unittest.main()
