"""The pad: what is written on it takes the whole road through the service, and none is lost."""

from world import Keys, Story, blocked, unittest, wait_for


class PadStory(Story):
    """Somebody with a pen in hand."""

    def setUp(self):
        super().setUp()
        self.open("#/pad")
        self.one(".pad-sheet")

    def write(self, *places, pointer="mouse"):
        """Draws a line through places given as shares of the sheet, and lifts the pointer."""
        self.point("pressed", places[0], pointer)
        for place in places[1:]:
            self.point("moved", place, pointer)
        self.point("released", places[-1], pointer)

    def point(self, kind, place, pointer="mouse", force=0.5):
        sheet = self.one(".pad-sheet").rect
        x = sheet["x"] + place[0] * sheet["width"]
        y = sheet["y"] + place[1] * sheet["height"]
        kinds = {"pressed": "mousePressed", "moved": "mouseMoved", "released": "mouseReleased"}
        self.cdp("Input.dispatchMouseEvent", type=kinds[kind], x=x, y=y, button="left",
                 buttons=0 if kind == "released" else 1, clickCount=1, pointerType=pointer, force=force)

    def touch(self, kind, *places, radius=5):
        sheet = self.one(".pad-sheet").rect
        points = [{"x": sheet["x"] + x * sheet["width"], "y": sheet["y"] + y * sheet["height"],
                   "radiusX": radius, "radiusY": radius, "id": number} for number, (x, y) in enumerate(places)]
        self.cdp("Input.dispatchTouchEvent", type=kind, touchPoints=points)

    def strokes(self):
        return self.js("return document.querySelector('ink-pad').strokes")

    def kept_page(self):
        """The address of the page that the sheet became."""
        wait_for("the ink to be accepted", lambda: self.one(".pad-words").text.startswith("Kept as Pad, sheet "))
        return self.js("return document.querySelector('ink-pad').outbox.page")

    def arrived(self, address, strokes):
        return wait_for(f"{strokes} strokes on page {address}", lambda: next(
            (page for page in self.api("/api/pages")["pages"]
             if page["address"] == address and page["strokes"] == strokes), None))


class PadTest(PadStory):
    def test_ink_goes_to_the_service_when_the_hand_rests_and_comes_back_as_a_page(self):
        self.write((0.2, 0.2), (0.3, 0.4), (0.4, 0.2))
        self.write((0.5, 0.2), (0.6, 0.4))
        self.assertGreater(self.ink_in(".pad-sheet"), 100)
        address = self.kept_page()
        page = self.arrived(address, 2)
        self.assertEqual(page["pen"], self.api("/api/status")["pad"]["pen"])
        ink = self.api(f"/api/pages/{page['id']}/ink")
        first = ink["strokes"][0]["line"]
        width = self.js("return document.querySelector('ink-pad').width")
        for (_, x, _, _), share in zip((first[0], first[-1]), (0.2, 0.4)):
            self.assertAlmostEqual(x / width, share, delta=0.01)
        self.assertGreater(page["start"], 1577836800000, "the ink has no time of ours")
        name = f"Pad, sheet {address.split('.')[2]}"
        self.said(f"Kept as {name}.")
        self.said(f"Ink arrived on a new page: {name}, 2 strokes.")
        self.open("#/")
        self.assertIn(name, self.titles())

    def test_what_is_written_later_joins_the_page(self):
        self.write((0.2, 0.2), (0.3, 0.4))
        address = self.kept_page()
        self.write((0.5, 0.5), (0.6, 0.7))
        wait_for("the second stroke to be sent", lambda: self.one("ink-pad").get_attribute("data-state") == "sent")
        self.arrived(address, 2)
        self.named("Show the page").click()
        wait_for("the page's ink", lambda: self.ink_in(".stage-ink") > 0)
        self.assertEqual(self.one(".title-field").get_attribute("placeholder"), f"Pad, sheet {address.split('.')[2]}")
        self.assertIn(f"page {address}", self.one(".page-facts").text)

    def test_a_new_sheet_is_another_page(self):
        self.write((0.2, 0.2), (0.3, 0.4))
        first = self.kept_page()
        self.named("New sheet").click()
        self.assertEqual(self.ink_in(".pad-sheet"), 0)
        self.write((0.2, 0.2), (0.3, 0.4))
        self.assertNotEqual(self.kept_page(), first)

    def test_a_pen_presses(self):
        self.point("pressed", (0.2, 0.2), "pen", 0.2)
        self.point("moved", (0.3, 0.2), "pen", 0.9)
        self.point("moved", (0.4, 0.2), "pen", 0.4)
        self.point("released", (0.4, 0.2), "pen", 0.4)
        forces = [point[3] for point in self.strokes()[0]["points"]]
        self.assertEqual(forces[:3], [0.2, 0.9, 0.4])

    def test_a_mouse_presses_evenly(self):
        self.write((0.2, 0.2), (0.3, 0.4))
        self.assertEqual({point[3] for point in self.strokes()[0]["points"]}, {0.5})

    def test_every_coalesced_move_is_kept(self):
        self.module("padink.js", """
            const surface = document.createElement('div');
            surface.setPointerCapture = () => {};
            const ink = new m.PadInk(surface, (event) => ({ x: event.clientX, y: event.clientY }), () => ({ color: '#000000', width: 500 }));
            const made = [];
            ink.addEventListener('stroke', (event) => made.push(event.detail));
            const event = (kind, x, coalesced) => new PointerEvent(kind, { pointerId: 1, button: 0, clientX: x, pointerType: 'pen', pressure: 0.5, coalescedEvents: coalesced });
            surface.dispatchEvent(event('pointerdown', 10));
            surface.dispatchEvent(event('pointermove', 40, [event('pointermove', 20), event('pointermove', 30), event('pointermove', 40)]));
            surface.dispatchEvent(event('pointerup', 40));
            const places = made[0].points.map((point) => point[1]);
            if (String(places) !== '10,20,30,40') throw new Error(String(places));""")

    def test_a_finger_writes_until_a_pen_comes(self):
        self.resize(800, 900, touch=True)
        self.touch("touchStart", (0.2, 0.2))
        self.touch("touchMove", (0.4, 0.2))
        self.touch("touchEnd")
        wait_for("the finger's stroke", lambda: len(self.strokes()) == 1)
        # The hand comes down first, then its pen: the hand's ink goes again.
        self.touch("touchStart", (0.8, 0.8))
        self.touch("touchMove", (0.82, 0.8))
        self.write((0.2, 0.5), (0.5, 0.5), pointer="pen")
        self.touch("touchMove", (0.85, 0.8))
        self.touch("touchEnd")
        wait_for("the pen's stroke", lambda: len(self.strokes()) == 2)
        ends = self.strokes()[1]["points"]
        height = self.js("return document.querySelector('ink-pad').height")
        self.assertTrue(all(abs(point[2] / height - 0.5) < 0.02 for point in ends))
        # A hand that rests while the pen is near writes nothing.
        self.touch("touchStart", (0.7, 0.8))
        self.touch("touchMove", (0.75, 0.8))
        self.touch("touchEnd")
        self.assertEqual(len(self.strokes()), 2)

    def test_a_palm_never_writes(self):
        self.resize(800, 900, touch=True)
        self.touch("touchStart", (0.5, 0.5), radius=40)
        self.touch("touchMove", (0.6, 0.5), radius=40)
        self.touch("touchEnd")
        self.assertEqual(self.strokes(), [])

    def test_a_sending_that_failed_is_tried_again(self):
        self.may_complain = ["ERR_BLOCKED"]
        with blocked(self.driver, "*/api/pad"):
            self.write((0.2, 0.2), (0.3, 0.4))
            wait_for("the pad to say that ink waits", lambda: "(1 stroke)" in self.one(".pad-words").text)
        self.arrived(self.kept_page(), 1)

    def test_ink_and_nib_are_chosen(self):
        self.js("document.querySelector('input[aria-label=Blue]').focus()")
        self.keys(Keys.SPACE)
        self.js("document.querySelector('input[aria-label=Broad]').click()")
        self.write((0.2, 0.2), (0.3, 0.4))
        stroke = self.strokes()[0]
        self.assertEqual((stroke["color"], stroke["width"]), ("#23468c", 1400))

    def test_the_last_stroke_can_be_taken_back_before_it_is_sent(self):
        self.may_complain = ["ERR_BLOCKED"]
        with blocked(self.driver, "*/api/pad"):
            self.write((0.2, 0.2), (0.3, 0.4))
            self.write((0.5, 0.2), (0.6, 0.4))
            wait_for("the pad to say that ink waits", lambda: "(2 strokes)" in self.one(".pad-words").text)
            self.chord(Keys.CONTROL, "z")
            self.assertEqual(len(self.strokes()), 1)
        self.arrived(self.kept_page(), 1)

    def test_a_stroke_that_was_sent_stays_and_the_pad_says_so(self):
        self.write((0.2, 0.2), (0.3, 0.4))
        self.assertTrue(self.named("Take back").is_enabled())
        self.kept_page()
        self.assertFalse(self.named("Take back: what was sent stays").is_enabled())

    def test_ctrl_enter_sends_without_waiting(self):
        self.write((0.2, 0.2), (0.3, 0.4))
        self.js("clearTimeout(document.querySelector('ink-pad').outbox.timer)")
        self.chord(Keys.CONTROL, Keys.ENTER)
        self.kept_page()

    def test_leaving_the_pad_sends_what_is_on_it(self):
        self.write((0.2, 0.2), (0.3, 0.4))
        before = len(self.api("/api/pages")["pages"])
        self.keys(Keys.ESCAPE)
        wait_for("a page more", lambda: len(self.api("/api/pages")["pages"]) == before + 1)


class KeptInkTest(PadStory):
    """Ink that waits in the browser's storage."""

    def leave(self, strokes, page=""):
        """What a window left that is gone."""
        self.js("localStorage.setItem('unsent-ink-left', JSON.stringify("
                "{ page: arguments[0], width: 210000, height: 148000, strokes: arguments[1] }))", page, strokes)
        self.driver.refresh()

    def left(self):
        return self.js("return localStorage.getItem('unsent-ink-left')")

    def pages(self):
        return len(self.api("/api/pages")["pages"])

    STROKE = {"color": "#1f1b16", "width": 700, "start": 1700000000000, "points": [[0, 1000, 2000, 0.5], [13, 9100, 2010, 0.6]]}

    def test_left_ink_of_a_page_that_the_inbox_does_not_know_gets_a_page(self):
        self.may_complain = ["422"]
        before = self.pages()
        self.leave([self.STROKE], page="2147483647.5.2.1")
        self.notice("1 stroke that you wrote on the pad earlier is sent.")
        wait_for("a page more", lambda: self.pages() == before + 1)
        self.assertIsNone(self.left())

    def test_left_ink_that_is_refused_is_kept_until_its_owner_deletes_it(self):
        self.may_complain = ["422"]
        self.leave([{**self.STROKE, "color": "no color"}])
        notice = self.notice("Ink that you wrote on the pad earlier was not taken.")
        self.assertIn("It is still kept in this browser.", notice.text)
        self.assertIsNotNone(self.left())
        self.named("Delete it").click()
        self.named("Delete", "dialog button").click()
        wait_for("the ink to be deleted", lambda: self.left() is None)

    def test_ink_is_not_lost_if_the_browsers_storage_is_full(self):
        self.may_complain = ["ERR_BLOCKED"]
        before = self.pages()
        self.js("for (let size = 1 << 20, n = 0; size; n++) {"
                "try { localStorage.setItem(`full-${n}`, 'x'.repeat(size)); } catch { size >>= 1; } }")
        with blocked(self.driver, "*/api/pad"):
            self.write((0.2, 0.2), (0.3, 0.4))
            wait_for("the pad to say so", lambda: "storage is full" in self.one(".pad-words").text)
            self.keys(Keys.ESCAPE)
            self.notice("Not sent from the pad: 1 stroke.")
            self.assertFalse(self.js("return dispatchEvent(new Event('beforeunload', { cancelable: true }))"))
        wait_for("a page more", lambda: self.pages() == before + 1)
        wait_for("the window to be free to go", lambda: self.js(
            "return dispatchEvent(new Event('beforeunload', { cancelable: true }))"))
        self.js("localStorage.clear()")

    def test_ink_of_a_closed_sheet_is_sent_when_the_service_is_back(self):
        self.may_complain = ["503", "504"]
        before = self.pages()
        self.world.stop_service()
        self.write((0.2, 0.2), (0.3, 0.4))
        wait_for("the pad to say that ink waits", lambda: "is kept here" in self.one(".pad-words").text)
        self.keys(Keys.ESCAPE)
        self.notice("Kept in this browser.")
        self.world.start_service()
        wait_for("a page more", lambda: self.pages() == before + 1)
        self.notice("1 stroke that you wrote on the pad earlier is sent.")


class FirstSheetTest(PadStory):
    """An inbox that has no page yet."""

    def setUp(self):
        super().setUp()
        self.open("#/")
        self.one(".welcome")
        self.keys("n")
        self.one(".pad-sheet")

    def test_the_first_page_of_all_has_the_keyboard_when_one_leaves_the_pad(self):
        self.write((0.2, 0.2), (0.3, 0.4))
        wait_for("the page behind the pad", lambda: self.js("return document.querySelector('ink-grid').pages.length") == 1)
        self.keys(Keys.ESCAPE)
        wait_for("the focus on the card", lambda: self.js("return document.activeElement.className") == "card")
        self.keys(Keys.ENTER)
        wait_for("the page's ink", lambda: self.ink_in(".stage-ink") > 0)


class PadWithoutServiceTest(PadStory):
    """The service goes away while somebody writes."""

    def setUp(self):
        super().setUp()
        self.may_complain = ["503", "504"]

    def stop_service(self):
        self.world.stop_service()
        wait_for("the inbox to notice", lambda: self.api("/api/status")["service"] == "away")
        self.one(".banner")

    def test_ink_waits_and_is_sent_when_the_service_is_back(self):
        self.stop_service()
        self.write((0.2, 0.2), (0.3, 0.4))
        wait_for("the pad to say that ink waits", lambda: "(1 stroke)" in self.one(".pad-words").text)
        self.world.start_service()
        self.arrived(self.kept_page(), 1)
        self.gone(".banner")

    def test_ink_of_a_closed_window_is_sent_later(self):
        self.stop_service()
        self.write((0.2, 0.2), (0.3, 0.4))
        wait_for("the pad to say that ink waits", lambda: "is kept here" in self.one(".pad-words").text)
        before = len(self.api("/api/pages")["pages"])
        self.driver.get("about:blank")
        self.world.start_service()
        self.open("#/")
        wait_for("the inbox to be connected", lambda: self.api("/api/status")["service"] == "connected")
        self.open("#/")
        self.driver.refresh()
        wait_for("a page more", lambda: len(self.api("/api/pages")["pages"]) == before + 1)


if __name__ == "__main__":
    unittest.main()
