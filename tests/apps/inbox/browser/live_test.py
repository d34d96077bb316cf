"""The desk while things happen: ink arrives, the service or the inbox goes away and comes back."""

import re
import resource

from world import Story, blocked, unittest, wait_for


class FirstStartTest(Story):
    def test_an_empty_inbox_says_how_to_begin_until_ink_arrives(self):
        self.assertEqual(self.one(".welcome h2").text, "Your ink comes here")
        self.assertEqual([way.text for way in self.all(".welcome-ways h3")],
                         ["Write something", "Bring ink that you have", "Let a pen’s ink arrive"])
        self.named("Choose files")
        self.named("Write on the pad", ".welcome button").click()
        self.one(".pad-sheet")
        self.driver.back()
        self.one(".welcome")
        self.world.import_ink("note.inkml")
        self.wait_cards(1)
        self.gone(".welcome")


class ArrivalTest(Story):
    @classmethod
    def prepare(cls):
        cls.world.import_ink("handwriting.inkml")

    def setUp(self):
        super().setUp()
        wait_for("the pages", lambda: len(self.all(".card")) >= 2)

    def test_new_pages_come_first_and_are_heard(self):
        self.world.import_pages(300, 1)
        wait_for("the new page", lambda: self.titles()[0] == "Page 2.0.0.300")
        wait_for("the card to be shown as fresh", lambda: self.js(
            "return window.fresh.has(document.querySelector('.card').id)"))
        self.said("Ink arrived on a new page: Page 2.0.0.300, 1 stroke.")

    def test_a_page_that_gets_ink_moves_to_the_front(self):
        last = self.api("/api/pages")["pages"][-1]
        self.world.import_pages(3, 1)
        wait_for("the new page", lambda: self.titles()[0] == "Page 2.0.0.3")
        self.world.import_ink("note.inkml", "--page", last["address"])
        wait_for("the page to be first", lambda: self.titles()[0] == f"Page {last['address']}")
        wait_for("its strokes", lambda: f"{last['strokes'] + 39} strokes" in self.all(".card-note")[0].text)

    def test_the_card_with_the_focus_keeps_it_while_ink_arrives(self):
        self.js("document.querySelectorAll('.card')[1].focus()")
        held = self.focused().get_attribute("id")
        self.world.import_pages(400, 1)
        wait_for("the new page", lambda: self.titles()[0] == "Page 2.0.0.400")
        self.assertEqual(self.focused().get_attribute("id"), held)
        # It moves to the front itself.
        address = next(page["address"] for page in self.api("/api/pages")["pages"] if f"card-{page['id']}" == held)
        self.world.import_ink("note.inkml", "--page", address)
        wait_for("the page to be first", lambda: self.titles()[0] == f"Page {address}")
        self.assertEqual(self.focused().get_attribute("id"), held)

    def test_many_arrivals_are_heard_as_one(self):
        self.js("window.heard.length = 0")
        self.world.import_pages(100, 40)
        wait_for("the last of them", lambda: "Page 2.0.0.139" in self.titles())
        wait_for("a sentence for several", lambda: any(
            re.search(r"Ink arrived on \d+ pages\.", words) for words in self.js("return window.heard")))
        self.assertLess(len(self.js("return window.heard")), 10)

    def test_a_window_that_one_leaves_gives_its_connection_back(self):
        for _ in range(8):
            self.driver.get("about:blank")
            self.open("#/")
            self.one(".card")
            self.api("/api/status")

    def test_a_window_that_one_comes_back_to_is_up_to_date(self):
        self.driver.get("about:blank")
        self.world.import_pages(200, 1)
        self.driver.back()
        wait_for("the page that came meanwhile", lambda: "Page 2.0.0.200" in self.titles())


class AwayTest(Story):
    @classmethod
    def prepare(cls):
        cls.world.import_ink("note.inkml")

    def setUp(self):
        super().setUp()
        wait_for("the pages", lambda: self.all(".card"))
        wait_for("the connection", lambda: self.api("/api/status")["service"] == "connected")
        self.gone(".banner")

    def banner(self, text):
        wait_for(f"the banner “{text}”", lambda: text in self.one(".banner").text)

    def test_the_service_goes_away_and_comes_back(self):
        self.world.stop_service()
        self.banner("The ink service is away.")
        self.world.start_service()
        self.gone(".banner")
        self.said("Connected again.")

    def test_an_import_without_the_service_says_why_not(self):
        self.may_complain = ["503", "504"]
        self.world.stop_service()
        self.banner("The ink service is away.")
        self.module("imports.js", "await m.importFiles([new File(['<ink xmlns=\"http://www.w3.org/2003/InkML\">"
                    "<trace>1 1, 2 2</trace></ink>'], 'line.inkml')])")
        self.notice("line.inkml was not imported. The ink service is away.")
        self.world.start_service()
        self.gone(".banner")

    def test_the_inbox_ends_and_comes_back_with_what_it_got_meanwhile(self):
        self.may_complain = ["ERR_CONNECTION_REFUSED", "ERR_INCOMPLETE_CHUNKED_ENCODING", "ERR_EMPTY_RESPONSE",
                             "ERR_CONNECTION_RESET"]
        before = len(self.all(".card"))
        self.world.stop_inbox()
        self.banner("The inbox is not running.")
        self.world.import_pages(before, 1)
        self.world.start_inbox()
        self.gone(".banner")
        self.wait_cards(before + 1)

    def test_pictures_that_could_not_be_loaded_come_when_the_inbox_is_back(self):
        self.may_complain = ["ERR_"]
        with blocked(self.driver, "*picture.png*"):
            self.driver.refresh()
            wait_for("the cards without pictures", lambda: self.all(".card") and not self.all(".card-picture"))
            self.world.stop_inbox()
            self.banner("The inbox is not running.")
        self.world.start_inbox()
        self.gone(".banner")
        wait_for("the pictures", lambda: len(self.all(".card-picture.is-there")) == len(self.all(".card")))

    def test_ink_that_cannot_be_kept_is_told_until_it_can(self):
        before = len(self.all(".card"))
        # No file of the inbox may become longer than it is, as on a full disk.
        _, hard = resource.prlimit(self.world.inbox.pid, resource.RLIMIT_FSIZE)
        resource.prlimit(self.world.inbox.pid, resource.RLIMIT_FSIZE, (4096, hard))
        self.world.import_pages(300, 1)
        self.banner("Ink stays with the service: ")
        self.assertEqual(self.one(".banner").text.count("with the service"), 1)
        resource.prlimit(self.world.inbox.pid, resource.RLIMIT_FSIZE, (hard, hard))
        self.gone(".banner")
        self.wait_cards(before + 1)

    def test_a_stream_that_is_away_is_told_of(self):
        self.may_complain = ["ERR_"]
        self.world.stop_inbox()
        self.world.start_inbox("--from", "nats://127.0.0.1:1", "--consumer", "library")
        self.banner("No ink comes from the stream: can't connect to nats://127.0.0.1:1")
        self.world.stop_inbox()
        self.world.start_inbox()
        self.gone(".banner")

    def test_a_window_that_is_no_longer_known_says_how_to_come_in(self):
        self.may_complain = ["401", "ERR_"]
        cookies = self.driver.get_cookies()
        self.driver.delete_all_cookies()
        self.world.stop_inbox()
        self.world.start_inbox()
        self.banner("quillpost-inbox --open")
        for cookie in cookies:
            self.driver.add_cookie(cookie)
        self.gone(".banner")


if __name__ == "__main__":
    unittest.main()
