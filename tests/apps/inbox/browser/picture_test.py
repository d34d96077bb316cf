"""The picture of the inbox at the top of the README, taken anew: build/dev/pictures/inbox.png."""

import math
import os
import struct

from world import Keys, Story, unittest, wait_for

TITLES = {"1.2.3.4": "Letter to Ada", "1.2.3.5": "To do", "1.2.7.1": "The old mill"}


class PictureTest(Story):
    WIDTH, HEIGHT = 1000, 520

    @classmethod
    def prepare(cls):
        cls.world.import_ink("note.inkml")
        cls.world.import_ink("handwriting.inkml")

    def draw_flower(self):
        self.open("#/pad")
        sheet = self.one(".pad-sheet").rect
        turns, steps = 7, 210
        for step in range(steps + 1):
            angle = 2 * math.pi * step / steps
            reach = 0.36 * sheet["height"] * abs(math.cos(turns * angle / 2))
            self.cdp("Input.dispatchMouseEvent", type="mousePressed" if step == 0 else "mouseMoved", button="left", buttons=1,
                     x=sheet["x"] + sheet["width"] / 2 + reach * math.cos(angle),
                     y=sheet["y"] + sheet["height"] / 2 + reach * math.sin(angle))
        self.cdp("Input.dispatchMouseEvent", type="mouseReleased", button="left", buttons=0,
                 x=sheet["x"] + sheet["width"] / 2, y=sheet["y"] + sheet["height"] / 2)
        self.chord(Keys.CONTROL, Keys.ENTER)
        wait_for("the ink to be accepted", lambda: self.one("ink-pad").get_attribute("data-state") == "sent")

    def give_title(self, page, title):
        self.open(f"#/page/{page['id']}")
        field = self.one(".title-field")
        wait_for("the page", lambda: page["address"] in field.get_attribute("placeholder") + self.one(".page-facts").text)
        field.click()
        field.send_keys(title, Keys.ENTER)
        wait_for("the title to be kept", lambda: self.api(f"/api/pages/{page['id']}")["title"] == title)

    def test_the_desk_is_shown_with_four_pages(self):
        self.wait_cards(3)
        self.draw_flower()
        wait_for("the flower", lambda: len(self.api("/api/pages")["pages"]) == 4)
        for page in self.api("/api/pages")["pages"]:
            self.give_title(page, TITLES.get(page["address"], "Flower"))
        self.driver.get("about:blank")
        self.open("#/")
        self.wait_cards(4)
        wait_for("the pictures", lambda: len(self.all(".card-picture.is-there")) == 4)
        self.assertEqual(sorted(self.titles()), ["Flower", "Letter to Ada", "The old mill", "To do"])
        wait_for("the pictures to be seen", lambda: self.js(
            "return [...document.querySelectorAll('.card-picture')].every((p) => getComputedStyle(p).opacity === '1')"))
        os.makedirs(os.environ["PICTURES"], exist_ok=True)
        path = os.path.join(os.environ["PICTURES"], "inbox.png")
        self.driver.save_screenshot(path)
        with open(path, "rb") as file:
            self.assertEqual(struct.unpack(">II", file.read(24)[16:]), (self.WIDTH, self.HEIGHT))


if __name__ == "__main__":
    unittest.main()
