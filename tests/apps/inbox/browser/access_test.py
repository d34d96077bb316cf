"""The inbox for people who use keys, a screen reader, a small window, or see little contrast."""

from contextlib import contextmanager

from world import Keys, Story, box, unittest, wait_for

VIEWS = ("desk", "selection", "page", "pad", "keys", "menu", "trash")

# The contrast of every text that is shown with what is behind it, by the rule of WCAG 2.
CONTRAST = """
const pixel = new OffscreenCanvas(1, 1).getContext('2d', { willReadFrequently: true });
function rgba(color) {
  pixel.clearRect(0, 0, 1, 1); pixel.fillStyle = color; pixel.fillRect(0, 0, 1, 1);
  const [r, g, b, a] = pixel.getImageData(0, 0, 1, 1).data; return [r, g, b, a / 255];
}
function over([r, g, b, a], below) { return [r, g, b].map((part, k) => part * a + below[k] * (1 - a)).concat(1); }
function behind(element) {
  const layers = [];
  for (let e = element; e; e = e.parentElement) layers.push(rgba(getComputedStyle(e).backgroundColor));
  return layers.reverse().reduce((below, layer) => over(layer, below), [255, 255, 255, 1]);
}
function light([r, g, b]) {
  const parts = [r, g, b].map((p) => (p /= 255) <= 0.04045 ? p / 12.92 : ((p + 0.055) / 1.055) ** 2.4);
  return 0.2126 * parts[0] + 0.7152 * parts[1] + 0.0722 * parts[2];
}
const poor = [];
let seen = 0;
const top = document.querySelector('dialog[open]') || document.body;
for (const element of top.querySelectorAll('*')) {
  const own = [...element.childNodes].some((n) => n.nodeType === 3 && n.data.trim()) || element.matches('input:not([type=radio]):not([type=checkbox]), select');
  const style = getComputedStyle(element);
  if (!own || !element.checkVisibility({ opacityProperty: true, visibilityProperty: true }) || element.closest('.for-ears, :disabled, option')) continue;
  seen++;
  const back = behind(element);
  const front = over(rgba(style.color), back);
  const [high, low] = [light(front), light(back)].sort((a, b) => b - a);
  const ratio = (high + 0.05) / (low + 0.05);
  const size = parseFloat(style.fontSize);
  const isLarge = size >= 24 || (size >= 18.66 && style.fontWeight >= 700);
  if (ratio < (isLarge ? 3 : 4.5)) poor.push(`${element.className || element.tagName} ${(element.textContent || element.placeholder || '').slice(0, 30)}: ${ratio.toFixed(2)}`);
}
return [seen, poor];
"""


class AccessTest(Story):
    @classmethod
    def prepare(cls):
        cls.world.import_ink("handwriting.inkml")
        cls.world.import_ink("note.inkml")

    def show(self, view):
        """Brings the view about, from wherever."""
        self.driver.get("about:blank")
        self.open({"page": "#/", "pad": "#/pad", "trash": "#/trash"}.get(view, "#/"))
        if view == "page":
            self.open_page("1.2.3.4")
            return
        if view == "pad":
            self.one(".pad-sheet")
            return
        if view == "trash":
            self.one(".nothing")
            return
        wait_for("the pages", lambda: len(self.all(".card")) == 3)
        if view == "selection":
            self.js("document.querySelector('.card').focus()")
            self.keys(Keys.SPACE)
            self.one(".selection")
        elif view == "keys":
            self.keys("?")
            self.one("dialog")
        elif view == "menu":
            self.named("More").click()
            self.one(".menu")

    def test_contrast_is_enough_in_each_view_by_day_and_by_night(self):
        for scheme in ("light", "dark"):
            self.media(**{"prefers-color-scheme": scheme})
            for view in VIEWS:
                with self.subTest(scheme=scheme, view=view):
                    self.show(view)
                    seen, poor = self.js(CONTRAST)
                    self.assertGreater(seen, 1)
                    self.assertEqual(poor, [])

    def test_everything_that_can_be_operated_has_a_name(self):
        for view in VIEWS:
            with self.subTest(view=view):
                self.show(view)
                within = "dialog " if view == "keys" else ""  # the rest is out of reach
                kinds = ("button", "a[href]", "input", "select", "[role=option]", "[role=slider]", "[role=img]")
                elements = [e for e in self.all(", ".join(within + kind for kind in kinds)) if e.is_displayed()]
                nameless = [e.get_attribute("outerHTML")[:120] for e in elements if not e.accessible_name]
                self.assertGreater(len(elements), 1)
                self.assertEqual(nameless, [])

    def test_the_list_is_a_list_box_of_which_one_card_is_in_the_tab_order(self):
        self.show("desk")
        self.assertEqual(self.one(".grid-space").aria_role, "listbox")
        cards = self.all(".card")
        self.assertEqual({card.aria_role for card in cards}, {"option"})
        self.assertEqual([card.get_attribute("tabindex") for card in cards].count("0"), 1)
        self.assertEqual([card.get_attribute("aria-posinset") for card in cards], ["1", "2", "3"])
        self.assertEqual({card.get_attribute("aria-setsize") for card in cards}, {"3"})
        for part in ("Page 1.2.7.1", "39 strokes", "Today", "pen 0123-4567-89AB-CDEF"):
            self.assertIn(part, cards[0].accessible_name)

    def tabs(self, count):
        names = []
        for _ in range(count):
            self.keys(Keys.TAB)
            names.append(self.focused().accessible_name)
        return names

    def test_tab_goes_through_the_desk_from_top_to_bottom(self):
        self.show("desk")
        names = self.tabs(8)
        self.assertEqual(names[:7], ["Ink inbox", "Search titles, pages and pens", "Pen", "Time", "Write",
                                     "Import ink files", "More"])
        self.assertIn("Page 1.2.7.1", names[7])

    def test_tab_goes_through_a_page(self):
        self.show("page")
        names = self.tabs(15)
        first = names.index("All pages")
        names = names[first:] + names[:first]
        for earlier, later in (("All pages", "Title"), ("Title", "Export"), ("Export", "Move to the trash"),
                               ("Move to the trash", "Closer"), ("Closer", "Write again"),
                               ("Write again", "Moment of the writing"), ("Moment of the writing", "Skip pauses")):
            self.assertLess(names.index(earlier), names.index(later), names)

    def test_the_keys_are_listed_and_escape_leads_back(self):
        self.show("keys")
        text = self.one("dialog").text
        for words in ("Search", "Write on the pad", "Select the page", "Closer", "New sheet"):
            self.assertIn(words, text)
        self.keys(Keys.ESCAPE)
        self.gone("dialog")
        self.assertEqual(len(self.all(".card")), 3)

    def test_single_letters_can_be_turned_off(self):
        self.show("keys")
        self.one("dialog input").click()
        self.keys(Keys.ESCAPE)
        self.keys("n")
        self.assertEqual(self.all(".pad-sheet"), [])
        self.show("desk")
        self.keys("?")
        self.assertEqual(self.all("dialog"), [])
        self.js("localStorage.removeItem('single-keys')")
        self.keys("n")
        self.one(".pad-sheet")

    def test_a_menu_is_operated_by_keys(self):
        self.show("desk")
        more = self.named("More")
        more.send_keys(Keys.ENTER)
        wait_for("the first item", lambda: self.focused().accessible_name == "Trash")
        self.assertEqual(more.get_attribute("aria-expanded"), "true")
        self.keys(Keys.ARROW_UP)
        self.assertEqual(self.focused().accessible_name, "Dark")
        self.keys(Keys.ESCAPE)
        self.assertEqual(self.focused().accessible_name, "More")
        self.assertEqual(more.get_attribute("aria-expanded"), "false")

    def test_the_theme_is_the_systems_or_ones_own(self):
        background = "return getComputedStyle(document.documentElement).backgroundColor"
        self.show("desk")
        day = self.js(background)
        self.media(**{"prefers-color-scheme": "dark"})
        wait_for("the night", lambda: self.js(background) != day)
        self.named("More").click()
        self.named("Light", "[role=menuitemradio]").click()
        self.assertEqual(self.js(background), day)
        self.driver.refresh()
        wait_for("the chosen day", lambda: self.js(background) == day)
        self.js("localStorage.removeItem('theme')")

    def test_nothing_moves_for_those_who_want_less_motion(self):
        self.media(**{"prefers-reduced-motion": "reduce"})
        self.show("desk")
        moving = self.js("return [...document.querySelectorAll('*')].filter((e) => { const s = getComputedStyle(e);"
                         "return s.transitionDuration.split(', ').some((d) => d !== '0s') && s.transitionProperty !== 'none' || s.animationName !== 'none'; }).length")
        self.assertEqual(moving, 0)


class LayoutTest(Story):
    """Where the parts of each view are: in the window, beside one another, large enough for a finger."""

    @classmethod
    def prepare(cls):
        cls.world.import_ink("handwriting.inkml")
        cls.world.import_ink("note.inkml")

    SIZES = {"desktop": (1280, 860), "small": (760, 560), "phone": (360, 700), "phone on its side": (740, 360)}

    def assert_in_window(self, width, height, selector):
        elements = [e for e in self.all(selector) if e.is_displayed()]
        self.assertTrue(elements, f"no {selector}")
        for element in elements:
            left, top, right, bottom = box(element)
            what = element.accessible_name or element.get_attribute("class")
            self.assertGreaterEqual(left, -1, what)
            self.assertGreaterEqual(top, -1, what)
            self.assertLessEqual(right, width + 1, what)
            self.assertLessEqual(bottom, height + 1, what)
            self.assertGreaterEqual(min(right - left, bottom - top), 24, f"{what} is too small to hit")

    def assert_apart(self, selector):
        boxes = [(box(e), e.accessible_name) for e in self.all(selector) if e.is_displayed()]
        for number, (one, name) in enumerate(boxes):
            for other, other_name in boxes[number + 1:]:
                apart = (one[2] <= other[0] + 1 or other[2] <= one[0] + 1 or
                         one[3] <= other[1] + 1 or other[3] <= one[1] + 1)
                self.assertTrue(apart, f"{name} {one} and {other_name} {other} overlap")

    @contextmanager
    def sized(self, name):
        width, height = self.SIZES[name]
        with self.subTest(size=name):
            self.resize(width, height, touch=name.startswith("phone"))
            yield width, height
            self.assertEqual(self.js("return document.documentElement.scrollWidth"), width)

    def pile_up_notices(self):
        """More notices than there is room for, with more to say than they have room for."""
        self.module("notices.js", "for (let n = 0; n < 9; n++) m.notify(`${n} ` + 'much to say '.repeat(40), { isError: n % 2 === 0 });")

    def assert_notices_leave_room(self, width, height, selector):
        """They are in the window, apart from what one presses, and can be closed."""
        self.pile_up_notices()
        self.assertEqual(len(self.all(".notice")), 3)
        self.assert_in_window(width, height, ".notices")
        self.assert_apart(f".notices, {selector}")
        for _ in range(3):
            self.js("document.querySelector('.notices').scrollTop = 0")
            self.all(".notice [aria-label=Close]")[0].click()
        self.assertEqual(self.all(".notice"), [])

    def test_the_desk(self):
        for name in self.SIZES:
            with self.sized(name) as (width, height):
                wait_for("the pages", lambda: len(self.all(".card")) == 3)
                self.assert_in_window(width, height, ".bar button, .bar input[type=search], .bar select")
                self.assert_apart(".bar button, .bar input[type=search], .bar select, .brand")
                self.assert_apart(".card")
                cards = [box(card) for card in self.all(".card")]
                self.assertEqual(len({card[1] for card in cards}), 2 if width < 500 else 1)
                self.assertLess(box(self.one(".bar"))[3], cards[0][1])
                self.assertLessEqual(max(card[2] for card in cards), width)

    def test_the_selection(self):
        for name in self.SIZES:
            with self.sized(name) as (width, height):
                wait_for("the pages", lambda: len(self.all(".card")) == 3)
                self.js("document.querySelector('.card').focus()")
                self.keys(Keys.SPACE)
                self.assert_in_window(width, height, ".selection, .selection button")
                self.assert_apart(".selection button, .selection-count")
                self.assert_notices_leave_room(width, height, ".selection button, .bar button, .bar input")
                self.js("document.querySelector('.card').focus()")
                self.named("Export").click()
                self.assert_in_window(width, height, ".menu")
                self.keys(Keys.ESCAPE, Keys.ESCAPE)
                self.gone(".selection")

    def test_a_page(self):
        self.open_page("1.2.3.4")
        for name in self.SIZES:
            with self.sized(name) as (width, height):
                self.assert_in_window(width, height, ".page button, .title-field, ink-timeline")
                self.assert_apart(".page button, .title-field, ink-timeline")
                stage = box(self.one("ink-stage"))
                self.assertEqual((stage[0], stage[2]), (0, width))
                self.assertGreater(stage[3] - stage[1], height * 0.45)
                self.assert_notices_leave_room(width, height, ".page button, .title-field, ink-timeline")
                wait_for("the sheet to fit", lambda: self.js(
                    "const s = document.querySelector('.stage-sheet').getBoundingClientRect();"
                    "const w = document.querySelector('ink-stage').getBoundingClientRect();"
                    "return s.left >= w.left && s.right <= w.right && s.top >= w.top && s.bottom <= w.bottom"
                    "  && s.height > innerHeight * 0.4"))
                self.named("Export").click()
                self.assert_in_window(width, height, ".menu")
                self.keys(Keys.ESCAPE)

    def test_the_pad(self):
        self.open("#/pad")
        for name in self.SIZES:
            with self.sized(name) as (width, height):
                self.assert_in_window(width, height, ".pad-sheet, .pad button, .choice")
                self.assert_apart(".pad-sheet, .pad button, .choice")
                sheet = box(self.one(".pad-sheet"))
                self.assertGreater(sheet[2] - sheet[0], width * 0.4)
                self.assertGreater(sheet[3] - sheet[1], height * 0.3)


if __name__ == "__main__":
    unittest.main()
