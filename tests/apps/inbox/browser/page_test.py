"""One page: pan and zoom, replay, its title, its files, and ink that arrives while one looks."""

import os

from world import ActionChains, Keys, Story, run, unittest, wait_for


class PageTest(Story):
    @classmethod
    def prepare(cls):
        cls.world.import_ink("handwriting.inkml")

    def setUp(self):
        super().setUp()
        self.wait_cards(2)
        self.page = self.open_page("1.2.3.5")

    def view(self):
        return self.js("return document.querySelector('ink-stage').view")

    def zoom(self):
        return self.one(".zoom-text").text

    def moment(self):
        return float(self.js("return document.querySelector('ink-timeline').now"))

    def duration(self):
        return float(self.js("return document.querySelector('ink-timeline').writing.duration"))

    def finished(self):
        """Strokes that are wholly on the paper."""
        return self.js("return document.querySelector('ink-page').player.scene().whole")

    def drag_timeline(self, *shares):
        """Puts the pointer down at the first share of the strip's length, and drags it to the others."""
        strip = self.one("ink-timeline")
        width = strip.size["width"]
        actions = ActionChains(self.driver)
        for number, share in enumerate(shares):
            actions.move_to_element_with_offset(strip, round((share - 0.5) * width), 0)
            if number == 0:
                actions.click_and_hold()
        actions.release().perform()

    def test_the_page_fills_the_window_and_says_what_it_is(self):
        stage = self.one("ink-stage").rect
        self.assertEqual(stage["width"], self.WIDTH)
        self.assertGreater(stage["height"], self.HEIGHT * 0.75)
        self.assertIn("50 strokes", self.one(".page-facts").text)
        name = self.one(".stage-ink").get_attribute("aria-label")
        for part in ("Page 1.2.3.5", "50 strokes", "pen 0123-4567-89AB-CDEF"):
            self.assertIn(part, name)
        self.said("Page 1.2.3.5")

    def test_keys_zoom_and_move(self):
        fitted = self.view()
        self.keys("+")
        self.assertGreater(self.view()["scale"], fitted["scale"])
        self.keys("1")
        self.assertEqual(self.zoom(), "100 %")
        before = self.view()
        self.keys(Keys.ARROW_DOWN)
        self.assertLess(self.view()["y"], before["y"])
        self.keys(Keys.ARROW_RIGHT)
        self.assertLess(self.view()["x"], before["x"])
        self.keys("0")
        self.assertEqual(self.view(), fitted)

    def test_the_wheel_zooms_at_the_pointer(self):
        # A place on the paper stays under the pointer.
        place = "const v = document.querySelector('ink-stage').view; return (600 - v.x) / v.scale"
        before = self.js(place)
        scale = self.view()["scale"]
        box = self.one("ink-stage").rect
        self.cdp("Input.dispatchMouseEvent", type="mouseWheel", x=600, y=box["y"] + 200, deltaX=0, deltaY=-300)
        wait_for("the page to be closer", lambda: self.view()["scale"] > scale * 1.5)
        self.assertAlmostEqual(self.js(place) / before, 1, delta=0.01)

    def test_dragging_moves_the_page(self):
        before = self.view()
        ActionChains(self.driver).move_to_element(self.one("ink-stage")).click_and_hold().move_by_offset(-90, -40).release().perform()
        after = self.view()
        self.assertAlmostEqual(after["x"] - before["x"], -90, delta=1)
        self.assertAlmostEqual(after["y"] - before["y"], -40, delta=1)

    def test_two_fingers_pinch(self):
        self.resize(390, 780, touch=True)
        self.open_page("1.2.3.5")
        before = self.view()["scale"]
        for kind, gap in (("touchStart", 40), ("touchMove", 80), ("touchMove", 120)):
            self.cdp("Input.dispatchTouchEvent", type=kind,
                     touchPoints=[{"x": 195 - gap, "y": 380, "id": 1}, {"x": 195 + gap, "y": 380, "id": 2}])
        self.cdp("Input.dispatchTouchEvent", type="touchEnd", touchPoints=[])
        self.assertAlmostEqual(self.view()["scale"] / before, 3, delta=0.2)

    def test_replay_writes_the_page_and_ends_whole(self):
        whole = self.ink_in(".stage-ink")
        self.js("window.seen = []; const page = document.querySelector('ink-page');"
                "page.player.addEventListener('change', () => window.seen.push("
                "[page.player.now, page.player.scene().whole, page.playButton.getAttribute('aria-label')]))")
        self.keys(">", ">", ">")
        self.assertEqual(self.one(".speed").text, "8×")
        self.named("Write again").click()
        wait_for("the end of the replay", lambda: self.js(
            "return window.seen.length > 10 && !document.querySelector('ink-page').player.isPlaying"))
        seen = [entry for entry in self.js("return window.seen") if 0 < entry[0] < self.duration()]
        self.assertEqual({name for _, _, name in seen}, {"Pause"})
        counts = [count for _, count, _ in seen]
        self.assertEqual(counts, sorted(counts))
        self.assertGreater(len(set(counts)), 3)
        self.named("Write again")
        self.assertEqual((self.moment(), self.finished()), (self.duration(), 50))
        wait_for("the whole page", lambda: self.ink_in(".stage-ink") == whole)

    def test_a_replay_pauses_and_goes_on(self):
        self.one("ink-stage")
        self.keys("k")
        wait_for("the replay to run", lambda: self.moment() > 100 and self.moment() < self.duration())
        self.keys("k")
        held = self.moment()
        self.named("Write again")
        self.assertEqual(self.moment(), held)
        self.keys("k")
        wait_for("the replay to go on", lambda: self.moment() > held)

    def test_dragging_the_timeline_replays(self):
        self.drag_timeline(0.25)
        self.assertAlmostEqual(self.moment() / self.duration(), 0.25, delta=0.01)
        quarter = self.finished()
        self.drag_timeline(0.25, 0.5, 0.75)
        self.assertAlmostEqual(self.moment() / self.duration(), 0.75, delta=0.01)
        self.assertGreater(self.finished(), quarter)
        wait_for("a ghost of the rest", lambda: self.ink_in(".stage-ghost") > self.ink_in(".stage-ink") > 0)
        self.drag_timeline(0.75, 0.1)
        self.assertLess(self.finished(), quarter)

    def test_the_timeline_is_a_slider_for_keys(self):
        strip = self.one("ink-timeline")
        self.assertEqual(strip.aria_role, "slider")
        self.js("arguments[0].focus()", strip)
        self.keys(Keys.HOME)
        self.assertEqual(self.moment(), 0)
        self.keys(Keys.ARROW_RIGHT)
        self.assertEqual(self.moment(), 1000)
        self.assertTrue(strip.get_attribute("aria-valuetext").startswith("1 second of"))
        self.keys(Keys.END)
        self.assertEqual(self.moment(), self.duration())

    def test_the_timeline_is_high_where_much_was_written(self):
        bars = self.js("return [...document.querySelector('ink-timeline').bars]")
        self.assertEqual(max(bars), 1)
        self.assertLess(min(bars), 0.05)

    def test_pauses_are_skipped_unless_one_wants_them(self):
        skipped = self.duration()
        self.assertEqual(self.named("Skip pauses").get_attribute("aria-pressed"), "true")
        self.named("Skip pauses").click()
        self.assertGreaterEqual(self.duration(), skipped)
        self.assertAlmostEqual(self.duration(), self.page["end"] - self.page["start"], delta=2)
        self.named("Skip pauses").click()

    def test_a_title_is_edited_in_place(self):
        field = self.one(".title-field")
        field.click()
        field.send_keys("Things to do", Keys.ENTER)
        wait_for("the title to be kept", lambda: self.api(f"/api/pages/{self.page['id']}")["title"] == "Things to do")
        wait_for("the window's title", lambda: self.driver.title.startswith("Things to do"))
        field.click()
        field.send_keys(" never", Keys.ESCAPE)
        self.assertEqual(field.get_attribute("value"), "Things to do")
        field.click()
        self.chord(Keys.CONTROL, "a")
        field.send_keys(Keys.DELETE, Keys.ENTER)
        wait_for("the title to be gone", lambda: self.api(f"/api/pages/{self.page['id']}")["title"] == "")

    def test_a_page_becomes_a_file_of_each_kind(self):
        begins = {"PDF": b"%PDF", "PNG": b"\x89PNG", "SVG": b"<?xml", "InkML": b"<?xml", ".xopp": b"\x1f\x8b", "STF2": None}
        self.named("Export").click()
        notes = {item.text.split("\n")[0]: item.accessible_name for item in self.all("[role=menuitem]")}
        self.assertEqual(list(notes), list(begins))
        self.keys(Keys.ESCAPE)
        for kind, begin in begins.items():
            self.keys("e")
            self.named(notes[kind], "[role=menuitem]").click()
            path = self.downloaded("." + kind.lower().strip("."))
            with open(path, "rb") as file:
                head = file.read(8)
            if begin:
                self.assertTrue(head.startswith(begin), f"{kind} begins with {head}")
            else:
                self.assertEqual(head[4:8], b"STF2")
        self.assertIn("50 strokes", run(os.environ["STF2"], "info", self.downloaded(".stf2")))

    def test_page_keys_turn_to_the_next_page(self):
        self.keys(Keys.PAGE_DOWN)
        wait_for("the older page", lambda: self.one(".title-field").get_attribute("placeholder") == "Page 1.2.3.4")
        self.keys(Keys.PAGE_DOWN)
        self.said("This is the oldest page.")
        self.keys(Keys.PAGE_UP)
        wait_for("the newer page", lambda: self.one(".title-field").get_attribute("placeholder") == "Page 1.2.3.5")

    def test_a_page_goes_to_the_trash_and_comes_back(self):
        self.one("ink-stage")
        self.keys(Keys.DELETE)
        self.wait_cards(1)
        self.chord(Keys.CONTROL, "z")
        self.wait_cards(2)

    def test_a_page_that_is_not_there_is_refused_politely(self):
        self.may_complain = ["404"]
        self.open("#/page/4711")
        self.notice("The page can’t be shown.")
        self.wait_cards(2)


class ArrivalTest(Story):
    """Strokes appear on an open page as they arrive."""

    @classmethod
    def prepare(cls):
        cls.world.import_pages(7, 1)

    def test_ink_that_arrives_is_written_on_the_open_page(self):
        self.wait_cards(1)
        self.open_page("2.0.0.7")
        strokes = "return document.querySelector('ink-page').player.strokes.length"
        self.assertEqual(self.js(strokes), 1)
        before = self.ink_in(".stage-ink")
        self.world.import_ink("handwriting.inkml", "--page", "2.0.0.7")
        wait_for("the strokes to be there", lambda: self.js(strokes) == 118)
        wait_for("the strokes to be drawn", lambda: self.ink_in(".stage-ink") > 3 * before)
        wait_for("the writing to end", lambda: self.js(
            "return document.querySelector('ink-page').player.arrival === null"))
        self.assertIn("118 strokes", self.one(".page-facts").text)
        self.said("Ink arrived on Page 2.0.0.7; it has 118 strokes now.")
        ids = self.js("return document.querySelector('ink-page').player.strokes.map((s) => s.id)")
        self.assertEqual(len(set(ids)), 118, "strokes came twice")


if __name__ == "__main__":
    unittest.main()
