"""The desk: pages as cards, found, selected, moved to the trash and back."""

from world import ActionChains, Keys, Story, run, unittest, wait_for


class DeskTest(Story):
    @classmethod
    def prepare(cls):
        cls.world.import_ink("handwriting.inkml")
        cls.world.import_ink("note.inkml")

    def setUp(self):
        super().setUp()
        self.wait_cards(3)

    def card(self, address):
        return wait_for(f"the card of {address}", lambda: next(
            (card for card in self.all(".card") if address in card.get_attribute("aria-label")), None))

    def select(self, *addresses):
        for address in addresses:
            ActionChains(self.driver).key_down(Keys.CONTROL).click(self.card(address)).key_up(Keys.CONTROL).perform()

    def test_every_page_is_a_card_with_its_picture_under_its_day(self):
        self.assertEqual([heading.text for heading in self.all(".grid-day")], ["Today"])
        self.assertEqual(sorted(self.titles()), ["Page 1.2.3.4", "Page 1.2.3.5", "Page 1.2.7.1"])
        wait_for("three pictures", lambda: len(self.all(".card-picture.is-there")) == 3)
        shapes = self.js("return [...document.querySelectorAll('.card-picture')].map((p) => "
                         "p.naturalHeight / p.naturalWidth / (p.clientHeight / p.clientWidth))")
        for shape in shapes:
            self.assertAlmostEqual(shape, 1, delta=0.02, msg="the picture has another shape than its sheet")

    def test_a_click_opens_a_page_and_back_returns_to_its_card(self):
        self.card("1.2.3.5").click()
        wait_for("the page's ink", lambda: self.ink_in(".stage-ink") > 0)
        self.assertIn("Page 1.2.3.5", self.driver.title)
        self.driver.back()
        self.one("ink-desk")
        wait_for("the focus on the card", lambda: "1.2.3.5" in (self.focused().accessible_name or ""))

    def test_search_finds_pages_by_address_and_says_if_there_are_none(self):
        self.keys("/")
        self.keys("2.7")
        self.wait_cards(1)
        self.assertEqual(self.titles(), ["Page 1.2.7.1"])
        self.keys("nowhere")
        self.one(".nothing")
        self.named("Show all pages").click()
        self.wait_cards(3)

    def test_search_is_kept_in_the_address(self):
        self.keys("/")
        self.keys("1.2.7")
        self.wait_cards(1)
        self.driver.refresh()
        self.wait_cards(1)
        self.assertEqual(self.one(".search-words").get_attribute("value"), "1.2.7")

    def test_pens_and_days_narrow_the_list(self):
        pen = self.one("select[aria-label=Pen]")
        pen.click()
        wait_for("the pen to choose", lambda: len(pen.find_elements("css selector", "option")) == 2)
        self.js("arguments[0].value = '0123-4567-89AB-CDEF';"
                "arguments[0].dispatchEvent(new Event('change', {bubbles: true}))", pen)
        self.wait_cards(3)
        self.assertIn("pen=0123-4567-89AB-CDEF", self.driver.current_url)
        self.js("const s = document.querySelector('select[aria-label=Time]'); s.value = 'dates';"
                "s.dispatchEvent(new Event('change', {bubbles: true}));"
                "const d = document.querySelector('[aria-label=To]'); d.value = '2020-01-01';"
                "d.dispatchEvent(new Event('change', {bubbles: true}));")
        self.one(".nothing")

    def test_arrows_move_the_focus_and_space_selects(self):
        self.card("1.2.7.1")
        self.js("document.querySelector('.card').focus()")
        first = self.focused().accessible_name
        self.keys(Keys.ARROW_RIGHT)
        second = self.focused().accessible_name
        self.assertNotEqual(first, second)
        self.assertEqual(len(self.all(".card[tabindex='0']")), 1)
        self.keys(Keys.SPACE)
        self.assertEqual(self.one(".selection-count").text, "1 page selected")
        self.keys(Keys.HOME)
        self.assertEqual(self.focused().accessible_name, first)
        self.chord(Keys.SHIFT, Keys.END)
        self.assertEqual(self.one(".selection-count").text, "3 pages selected")
        self.keys(Keys.ESCAPE)
        self.gone(".selection")

    def test_enter_opens_the_page_with_the_focus(self):
        self.js("document.querySelector('.card').focus()")
        self.keys(Keys.ARROW_RIGHT, Keys.ENTER)
        wait_for("the page's ink", lambda: self.ink_in(".stage-ink") > 0)

    def test_selected_pages_go_to_the_trash_and_undo_brings_them_back(self):
        self.select("1.2.3.4", "1.2.3.5")
        self.named("Trash").click()
        self.wait_cards(1)
        self.notice("2 pages are in the trash.")
        self.named("Undo").click()
        self.wait_cards(3)
        self.notice("2 pages are back.")

    def test_a_page_can_be_restored_from_the_trash(self):
        self.js("document.querySelector('.card').focus()")
        gone = self.focused().accessible_name
        self.keys(Keys.DELETE)
        self.wait_cards(2)
        self.named("More").click()
        self.named("Trash", "[role=menuitem]").click()
        self.wait_cards(1)
        self.one(".trash-head")
        self.js("document.querySelector('.card').focus()")
        self.keys(Keys.SPACE)
        self.named("Restore").click()
        self.wait_cards(0)
        self.named("All pages").click()
        self.wait_cards(3)
        self.assertIn(gone, self.cards())

    def test_a_page_that_is_opened_from_the_trash_can_be_restored(self):
        address = "1.2.7.1"
        self.js("arguments[0].focus()", self.card(address))
        self.keys(Keys.DELETE)
        self.wait_cards(2)
        self.open("#/trash")
        self.wait_cards(1)
        self.js("document.querySelector('.card').focus()")
        self.keys(Keys.ENTER)
        wait_for("the page's ink", lambda: self.ink_in(".stage-ink") > 0)
        tools = [e.accessible_name for e in self.all(".page-tools button") if e.is_displayed()]
        self.assertNotIn("Move to the trash", tools)
        self.keys(Keys.DELETE)
        self.said("The page is in the trash.")
        self.named("Restore").click()
        self.named("Move to the trash")
        self.keys(Keys.ESCAPE)
        self.one(".nothing")
        self.open("#/")
        self.wait_cards(3)
        self.card(address)

    def test_an_inbox_whose_pages_are_all_in_the_trash_says_so(self):
        self.select("1.2.3.4", "1.2.3.5", "1.2.7.1")
        self.named("Trash").click()
        wait_for("the words", lambda: "All pages are in the trash" in self.one(".nothing").text)
        self.assertEqual(self.all(".welcome-ways"), [])
        self.named("Show the trash").click()
        self.wait_cards(3)
        self.open("#/")
        self.driver.refresh()
        wait_for("the words", lambda: "All pages are in the trash" in self.one(".nothing").text)
        self.open("#/trash")
        self.wait_cards(3)
        self.select("1.2.3.4", "1.2.3.5", "1.2.7.1")
        self.named("Restore").click()
        self.wait_cards(0)

    def test_delete_means_the_selection_wherever_the_focus_is_but_in_a_field(self):
        self.select("1.2.3.4")
        self.keys("/")
        self.keys(Keys.DELETE)
        self.js("document.querySelector('.card').focus()")
        self.keys("e")
        self.one(".menu")
        self.keys(Keys.ESCAPE)
        self.assertEqual(self.focused().accessible_name, "Export")
        self.keys(Keys.DELETE)
        self.wait_cards(2)
        self.named("Undo").click()
        self.wait_cards(3)

    def test_deleting_for_ever_asks_first(self):
        self.world.import_pages(0, 1)
        self.wait_cards(4)
        self.select("2.0.0.0")
        self.named("Trash").click()
        self.wait_cards(3)
        self.open("#/trash")
        self.wait_cards(1)
        self.js("document.querySelector('.card').focus()")
        self.keys(Keys.DELETE)
        self.one("dialog")
        self.keys(Keys.ESCAPE)
        self.wait_cards(1)
        self.js("document.querySelector('.card').focus()")
        self.keys(Keys.DELETE)
        self.named("Delete for ever", "dialog button").click()
        self.wait_cards(0)
        self.assertEqual(self.api("/api/pages?trash=1")["pages"], [])

    def test_f2_gives_a_page_a_title_and_search_finds_it(self):
        self.js("document.querySelector('.card').focus()")
        self.keys(Keys.F2)
        wait_for("the title to be edited", lambda: self.focused().accessible_name == "Title")
        self.keys("<b>Lists & letters</b>", Keys.ENTER)
        wait_for("the title to be kept", lambda: any(
            page["title"] == "<b>Lists & letters</b>" for page in self.api("/api/pages")["pages"]))
        self.keys(Keys.ESCAPE)
        wait_for("the title on the card", lambda: "<b>Lists & letters</b>" in self.titles())
        self.keys("/")
        self.keys("letters")
        self.wait_cards(1)
        self.assertEqual(self.all(".card-title b"), [])
        self.js("document.querySelector('.card').focus()")
        self.keys(Keys.F2)
        wait_for("the title to be edited", lambda: self.focused().accessible_name == "Title")
        self.chord(Keys.CONTROL, "a")
        self.keys(Keys.DELETE, Keys.ENTER)
        wait_for("the title to be gone", lambda: not any(
            page["title"] for page in self.api("/api/pages")["pages"]))

    def test_a_resting_pointer_lets_the_card_write_its_page(self):
        card = self.card("1.2.3.4")
        # How many strokes were whole in each picture of the film.
        self.js("window.film = []; const fill = CanvasRenderingContext2D.prototype.fill; let strokes = 0;"
                "CanvasRenderingContext2D.prototype.fill = function (...rest) { strokes++; fill.apply(this, rest); };"
                "(function look() { if (window.film.at(-1) !== strokes) window.film.push(strokes); requestAnimationFrame(look); })();")
        ActionChains(self.driver).move_to_element(card).perform()
        wait_for("the whole page", lambda: self.js("return window.film.at(-1)") == 67)
        self.assertGreater(len(self.js("return window.film")), 5, "it did not write, it was there")
        self.assertGreater(self.ink_in(".card-writing"), 0)
        ActionChains(self.driver).move_to_element(self.one(".brand")).perform()
        self.gone(".card-writing")

    def test_the_circle_of_a_card_is_in_the_corner_of_its_sheet(self):
        self.select("1.2.7.1")
        corners = self.module("card.js", """
            const page = { id: 1, address: '1.2.3.4', title: '', pen: '', strokes: 1, arrived: 1, kind: 'sealed', reason: '', revision: 1 };
            const corners = [];
            for (const [width, height] of [[210, 297], [297, 210], [100, 297], [400, 100]]) {
              const card = new m.Card({ ...page, width, height });
              document.querySelector('.grid-space').append(card.element);
              card.show(card.page, 200, 283);
              const [check, sheet] = [card.check, card.sheet].map((part) => part.getBoundingClientRect());
              corners.push([sheet.right - check.right, check.top - sheet.top]);
              card.remove();
            }
            return corners;""")
        for corner in corners:
            for distance in corner:
                self.assertAlmostEqual(distance, 6, delta=1.5)

    def test_a_card_stays_still_for_those_who_want_less_motion(self):
        self.media(**{"prefers-reduced-motion": "reduce"})
        self.module("cardwriter.js", """
            const writer = new m.CardWriter();
            writer.over({ page: { kind: 'ink', strokes: 1, points: 10 } }, { pointerType: 'mouse' });
            if (writer.card) throw new Error('it writes');""")

    def test_formats_that_hold_one_pens_ink_are_not_offered_for_two_pens(self):
        self.world.import_ink("note.inkml", "--pen", "0123-4567-89AB-CD00", "--page", "4.4.4.4")
        self.select("1.2.3.4", "4.4.4.4")
        self.named("Export").click()
        items = {item.text.split("\n")[0]: item for item in self.all(".selection [role=menuitem]")}
        closed = [name for name, item in items.items() if item.get_attribute("aria-disabled")]
        self.assertEqual(closed, ["InkML", "STF2"])
        self.assertIn("for pages of one pen", items["InkML"].text)
        items["InkML"].click()
        self.assertEqual(self.all(".notice"), [])
        self.keys(Keys.ESCAPE)
        self.keys(Keys.ESCAPE)
        self.select("4.4.4.4")
        self.keys(Keys.DELETE)
        self.wait_cards(3)

    def test_several_pages_become_one_pdf(self):
        self.select("1.2.3.4", "1.2.3.5", "1.2.7.1")
        self.named("Export").click()
        names = [item.text.split("\n")[0] for item in self.all(".selection [role=menuitem]")]
        self.assertEqual(names, ["PDF", "InkML", ".xopp", "STF2"])
        self.named("PDF to print and to send", "[role=menuitem]").click()
        self.notice("is among your downloads")
        path = self.downloaded(".pdf")
        self.assertIn("Pages:           3", run("pdfinfo", path))


if __name__ == "__main__":
    unittest.main()
