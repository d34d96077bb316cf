"""The parts of the inbox's browser side that know nothing of screens, called in the browser."""

from world import Story, unittest

# A stroke that begins at `start` and takes `ms` for a straight line of `length`.
STROKE = """
const stroke = (id, start, ms, length = 1000) => ({ id, color: '#000000', opacity: 1, start, d: '',
  line: [[0, 0, 0, 500], [ms / 2, length / 2, 0, 500], [ms, length, 0, 500]] });
const same = (got, want) => { if (JSON.stringify(got) !== JSON.stringify(want)) throw new Error(`${JSON.stringify(got)} is not ${JSON.stringify(want)}`); };
"""


class ModuleTest(Story):
    def check_writing(self, body):
        self.module("writing.js", STROKE + body)

    def test_strokes_keep_the_pens_time(self):
        self.check_writing("""
            const writing = new m.Writing([stroke(1, 5000, 100), stroke(2, 5400, 200)]);
            same([writing.starts, writing.ends, writing.duration], [[0, 400], [100, 600], 600]);""")

    def test_long_pauses_are_cut_and_known(self):
        self.check_writing("""
            const strokes = [stroke(1, 5000, 100), stroke(2, 65100, 100)];
            const writing = new m.Writing(strokes);
            same(writing.starts, [0, 100 + m.longestPauseMs]);
            same(writing.skippedBetween(0, 200), 60000 - m.longestPauseMs);
            same(writing.skippedBetween(100, 200), 0);
            same(new m.Writing(strokes, false).starts, [0, 60100]);""")

    def test_strokes_are_written_in_the_order_of_their_times_and_others_stay_behind(self):
        self.check_writing("""
            const writing = new m.Writing([stroke(1, 9000, 10), stroke(2, 5000, 10), stroke(3, 0, 10)]);
            same(writing.strokes.map((s) => s.id), [2, 3, 1]);""")

    def test_strokes_without_times_follow_one_another(self):
        self.check_writing("""
            const writing = new m.Writing([stroke(1, 0, 100), stroke(2, 0, 100)]);
            if (!(writing.starts[1] > 100 && writing.starts[1] < 1000)) throw new Error(writing.starts);""")

    def test_a_clock_that_jumps_back_makes_no_pause(self):
        self.check_writing("""
            const writing = new m.Writing([stroke(1, 5000, 1000), stroke(2, 5500, 100)]);
            same(writing.starts, [0, 1000]);""")

    def test_each_moment_has_its_ink(self):
        self.check_writing("""
            const writing = new m.Writing([stroke(1, 5000, 100), stroke(2, 5400, 200)]);
            same(writing.at(-1), { whole: 0, points: 0 });
            same(writing.at(0), { whole: 0, points: 1 });
            same(writing.at(50), { whole: 0, points: 2 });
            same(writing.at(100), { whole: 1, points: 0 });
            same(writing.at(399), { whole: 1, points: 0 });
            same(writing.at(500), { whole: 1, points: 2 });
            same(writing.at(600), { whole: 2, points: 0 });
            same(new m.Writing([]).at(0), { whole: 0, points: 0 });""")

    def test_amounts_are_ways_of_the_pen(self):
        self.check_writing("""
            const writing = new m.Writing([stroke(1, 5000, 100, 800), stroke(2, 5900, 100, 200)]);
            same([...writing.amounts(2)], [800, 200]);
            same([...new m.Writing([]).amounts(2)], [0, 0]);""")

    def check_grid_layout(self, body):
        self.module("gridlayout.js", STROKE + """
            const noon = new Date(2026, 2, 4, 12).getTime();
            const pages = (...days) => days.flatMap(([day, count]) => Array.from({ length: count }, (_, k) =>
              ({ id: day * 1000 + k, arrived: noon - day * 86400000 - k, width: 210, height: 297 })));
            """ + body)

    def test_each_day_begins_a_row_under_a_heading(self):
        self.check_grid_layout("""
            const layout = m.layOut(pages([0, 3], [1, 7]), 1200);
            same(layout.columns, 5);
            same(layout.rows.map((row) => [row.start, row.end]), [[0, 0], [0, 3], [3, 3], [3, 8], [8, 10]]);
            for (let k = 1; k < layout.rows.length; k++) {
              if (layout.rows[k].top < layout.rows[k - 1].top + layout.rows[k - 1].height) throw new Error('rows overlap');
            }""")

    def test_a_small_window_has_two_columns(self):
        self.check_grid_layout("same(m.layOut(pages([0, 3]), 320).columns, 2);")

    def test_arrows_keep_the_column(self):
        self.check_grid_layout("""
            const layout = m.layOut(pages([0, 3], [1, 7]), 1200);
            same(m.cardFor(layout, 1, 'ArrowDown', 1), 4);
            same(m.cardFor(layout, 6, 'ArrowUp', 1), 2);
            same(m.cardFor(layout, 7, 'ArrowDown', 1), 9);
            same(m.cardFor(layout, 9, 'ArrowDown', 1), 9);
            same(m.cardFor(layout, 0, 'ArrowLeft', 1), 0);
            same(m.cardFor(layout, 0, 'PageDown', 2), 8);
            same(m.cardFor(layout, 0, 'End', 1), 9);""")

    def test_sheets_keep_their_shape_and_fit_their_room(self):
        self.check_grid_layout("""
            for (const [width, height] of [[210, 297], [297, 210], [100, 1000], [1000, 10], [0, 0]]) {
              const size = m.sheetSize({ width, height }, 200);
              if (size.width > 200 || size.height > m.paperHeight(200)) throw new Error(JSON.stringify(size));
            }
            same(m.sheetSize({ width: 200, height: 100 }, 200), { width: 200, height: 100 });""")

    def test_a_hundred_thousand_pages_are_a_few_elements(self):
        result = self.module("grid.js", """
            const { Selection } = await import('/web/selection.js');
            const grid = new m.InkGrid(new Selection());
            document.querySelector('ink-desk').replaceWith(grid);
            grid.show(Array.from({ length: 100000 }, (_, k) => ({ id: 100000 - k, pen: '', address: `1.2.3.${k}`, title: '', strokes: 1,
              points: 1, start: 0, end: 0, arrived: 1767261600000 - k * 600000, revision: 1, width: 210, height: 297,
              kind: 'sealed', reason: '', trashed: 0 })), false);
            const frame = () => new Promise((resolve) => requestAnimationFrame(() => requestAnimationFrame(resolve)));
            const found = [];
            for (const share of [0, 0.37, 1]) {
              grid.scrollTop = share * grid.scrollHeight;
              await frame();
              const cards = [...grid.querySelectorAll('.card')];
              const inSight = cards.filter((card) => { const box = card.getBoundingClientRect(); return box.bottom > 0 && box.top < innerHeight; });
              found.push([cards.length, inSight.length, cards.at(-1).id]);
            }
            grid.focusPage(1);
            await frame();
            found.push(document.activeElement.id);
            return found;""")
        for cards, in_sight, _ in result[:3]:
            self.assertLess(cards, 80)
            self.assertGreater(in_sight, 4)
        self.assertEqual(result[2][2], "card-1")
        self.assertEqual(result[3], "card-1")

    def check_library(self, body):
        self.module("library.js", STROKE + """
            const page = (id, arrived, more = {}) => ({ id, arrived, revision: 1, pen: 'P', address: '1.2.3.4', title: '', trashed: 0, ...more });
            const library = new m.Library();
            const ids = () => library.pages.map((p) => p.id);
            """ + body)

    def test_pages_stay_in_the_order_of_their_arrival(self):
        self.check_library("""
            library.update([page(1, 10), page(2, 30), page(3, 20)]);
            same(ids(), [2, 3, 1]);
            library.update([page(1, 40, { revision: 2 })]);
            same(ids(), [1, 2, 3]);
            library.remove([2]);
            same(ids(), [1, 3]);""")

    def test_old_news_changes_nothing(self):
        self.check_library("""
            library.update([page(1, 10, { revision: 5, title: 'new' })]);
            library.update([page(1, 10, { revision: 4, title: 'old' })]);
            same(library.byId.get(1).title, 'new');""")

    def test_news_of_pages_that_are_not_listed_are_left_out(self):
        self.check_library("""
            library.filter = { ...m.noFilter, q: 'letter' };
            library.update([page(1, 10, { title: 'A Letter' }), page(2, 20)]);
            same(ids(), [1]);
            library.update([page(1, 10, { revision: 2, title: 'A note' })]);
            same(ids(), []);
            library.filter = { ...m.noFilter, from: 15, to: 25 };
            library.update([page(1, 10), page(2, 20), page(3, 30), page(4, 50, { start: 10, end: 15 }), page(6, 20, { start: 3, end: 9 })]);
            same(ids(), [4, 2]);
            library.remove([4]);
            library.filter = { ...m.noFilter, trash: true };
            library.update([page(4, 10), page(5, 20, { trashed: 7 })]);
            same(ids(), [5, 2]);""")

    def test_addresses_lead_back_to_what_they_were_made_of(self):
        self.module("router.js", STROKE + """
            const filter = { q: 'a&b=?#', pen: '0123-4567-89AB-CDEF', from: 5, to: 9, trash: true };
            same(m.parseRoute(m.addressOf(filter)), { view: 'pages', filter, page: 0 });
            same(m.parseRoute(m.addressOfPage(7)).page, 7);
            same(m.parseRoute('').view, 'pages');
            same(m.parseRoute('#/page/7x').view, 'pages');
            same(m.parseRoute('#/page/7?refused=2').page, 7);
            same(['#/page/7?refused=2', '#/?refused=1', '#/', '', '#/?refused=x'].map(m.refusedFiles), [2, 1, 0, 0, 0]);
            same(m.parseRoute('#/?from=-3&to=x').filter, m.parseRoute('').filter);""")

    def test_no_key_means_two_things_in_one_view(self):
        twice = self.module("shortcuts.js", """
            const seen = new Set(), twice = [];
            for (const { scope, keys } of m.shortcuts) {
              // What works everywhere works in each view.
              for (const key of keys) for (const at of scope === 'everywhere' ? ['grid', 'page'] : [scope]) {
                if (seen.has(at + key)) twice.push(at + key);
                seen.add(at + key);
              }
            }
            return twice;""")
        self.assertEqual(twice, [])

    def test_dark_ink_is_light_by_night_and_keeps_its_hue(self):
        self.module("inkdraw.js", STROKE + """
            same(m.nightColor('#000000'), 'rgb(255 255 255)');
            same(m.nightColor('#ffffff'), 'rgb(0 0 0)');
            same(m.nightColor('#800000'), 'rgb(255 127 127)');
            same(m.nightColor('#FF0000'), 'rgb(255 0 0)');""")

    def test_times_and_days_are_said_as_people_say_them(self):
        self.module("format.js", STROKE + """
            const now = new Date(2026, 2, 4, 12).getTime();
            same([m.dayName(now, now), m.dayName(now - 86400000, now)], ['Today', 'Yesterday']);
            same(m.dayName(new Date(2026, 2, 4, 0, 1).getTime(), new Date(2026, 2, 4, 23, 59).getTime()), 'Today');
            if (!m.dayName(new Date(2024, 0, 5).getTime(), now).includes('2024')) throw new Error('no year');
            if (m.dayName(new Date(2026, 0, 5).getTime(), now).includes('2026')) throw new Error('a year');
            same([m.clock(0), m.clock(62000), m.clock(3602000)], ['0:00', '1:02', '1:00:02']);
            same([m.about(1000), m.about(120000), m.about(7200000), m.about(172800000)], ['1 second', '2 minutes', '2 hours', '2 days']);
            same(m.plural(1, 'stroke'), '1 stroke');""")

    def test_a_page_that_cannot_be_shown_leaves_alone(self):
        self.module("exports.js", STROKE + """
            const open = (...pages) => {
              const holder = m.exportButton(() => pages);
              document.body.append(holder);
              holder.querySelector('button').click();
              const items = [...holder.querySelectorAll('.menu-item')].map((item) => item.firstChild.textContent + (item.hasAttribute('aria-disabled') ? ' closed' : ''));
              holder.remove();
              return items;
            };
            const ink = { id: 1, pen: 'A', kind: 'ink' };
            same(open({ ...ink, kind: 'sealed' }), ['STF2']);
            same(open(ink, { ...ink, id: 2, kind: 'sealed' }), ['PDF closed', 'InkML closed', '.xopp closed', 'STF2 closed']);
            same(open(ink, { ...ink, id: 2 }), ['PDF', 'InkML', '.xopp', 'STF2']);""")

    def test_markup_in_an_address_a_pen_or_a_reason_is_text(self):
        shown = self.module("card.js", """
            const { InkPage } = await import('/web/pageview.js');
            const { notify } = await import('/web/notices.js');
            const bad = (name) => `<img src=x alt=${name}>&lt;b>`;
            const page = { id: 1, revision: 1, title: '', address: bad('address'), pen: bad('pen'), reason: bad('reason'), kind: 'unreadable',
              strokes: 0, points: 0, start: 0, end: 0, arrived: 1, width: 210000, height: 297000, trashed: 0 };
            const card = new m.Card(page);
            const view = new InkPage();
            document.body.append(card.element, view);
            card.show(page, 200, 283);
            view.page = page;
            view.update({ ...page, title: bad('title') });
            notify(`nats://${bad('host')} does not answer.`);
            return [card.element.innerText, view.innerText, document.querySelector('.notice').innerText, document.querySelectorAll('img').length];""")
        *texts, images = shown
        self.assertEqual(images, 0)
        for text, names in zip(texts, (("address", "reason"), ("address", "pen", "reason"), ("host",))):
            for name in names:
                self.assertIn(f"<img src=x alt={name}>&lt;b>", text)

    def test_a_page_without_a_title_is_called_by_its_address(self):
        self.module("format.js", STROKE + """
            const page = { title: '', address: '1.2.3.4', kind: 'ink' };
            same([m.pageName(page), m.pageName({ ...page, title: 'T' }), m.pageName({ ...page, kind: 'sealed' }), m.pageName({ ...page, address: '' })],
              ['Page 1.2.3.4', 'T', 'Sealed ink', 'Ink without a page']);
            same([m.addressName('2147483647.5.12.1'), m.addressName('2147483647.5.12.3'), m.addressName('1.2147483647.5.12')],
              ['Pad, sheet 12', 'Pad, sheet 12, page 3', 'Page 1.2147483647.5.12']);""")


if __name__ == "__main__":
    unittest.main()
