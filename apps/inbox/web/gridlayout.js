// Where cards stand: rows of as many as fit, under a heading for each day. Numbers only, in CSS
// pixels from the grid's top left, so that a list of a hundred thousand pages is laid out in
// milliseconds and only what is in sight becomes elements.

import { dayOf } from './format.js';

/** @typedef {import('./api.js').Page} Page */
/** @typedef {{top: number, height: number, day: number, start: number, end: number}} Row start = end for a heading, whose day holds `count` */
/** @typedef {{columns: number, cardWidth: number, rows: Row[], height: number, rowOfCard: Int32Array}} Layout */

export const gap = 28;
export const headingHeight = 56;
const captionHeight = 58;
const narrowestCard = 150;
const widestCard = 210;

/** @param {number} width of the whole grid */
export function columnsFor(width) {
  const wish = width < 560 ? narrowestCard : widestCard;
  const space = width < 560 ? gap / 2 : gap;
  const columns = Math.max(2, Math.floor((width + space) / (wish + space)));
  return { columns, space, cardWidth: Math.floor((width - space * (columns - 1)) / columns) };
}

/**
 * @param {Page[]} pages newest first
 * @param {number} width
 * @returns {Layout}
 */
export function layOut(pages, width) {
  const { columns, space, cardWidth } = columnsFor(width);
  const rowHeight = paperHeight(cardWidth) + captionHeight;
  /** @type {Row[]} */
  const rows = [];
  const rowOfCard = new Int32Array(pages.length);
  let top = 0;
  let index = 0;
  while (index < pages.length) {
    const day = dayOf(pages[index].arrived);
    let end = index;
    while (end < pages.length && pages[end].arrived >= day) end++;
    rows.push({ top, height: headingHeight, day, start: index, end: index });
    top += headingHeight;
    for (let start = index; start < end; start += columns) {
      const stop = Math.min(start + columns, end);
      rowOfCard.fill(rows.length, start, stop);
      rows.push({ top, height: rowHeight, day, start, end: stop });
      top += rowHeight + space;
    }
    index = end;
  }
  return { columns, cardWidth, rows, height: top, rowOfCard };
}

/**
 * The room for the sheet on a card: as high as A4 paper.
 * @param {number} cardWidth
 */
export function paperHeight(cardWidth) {
  return Math.round(cardWidth * 1.414);
}

/**
 * How big a page's sheet is on its card: whole, and as large as fits.
 * @param {Page} page @param {number} cardWidth
 */
export function sheetSize(page, cardWidth) {
  const room = paperHeight(cardWidth);
  const ratio = page.width > 0 && page.height > 0 ? page.height / page.width : 1.414;
  const width = Math.min(cardWidth, room / ratio);
  return { width: Math.round(width), height: Math.round(Math.max(width * ratio, 24)) };
}

/**
 * The first row that ends below `y`.
 * @param {Row[]} rows @param {number} y @returns {number}
 */
export function rowAt(rows, y) {
  let low = 0;
  let high = rows.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (rows[middle].top + rows[middle].height <= y) low = middle + 1;
    else high = middle;
  }
  return low;
}

/**
 * The card that a key leads to from a card: the nearest one in the row above or below keeps the
 * column. Stays within the list.
 * @param {Layout} layout @param {number} index @param {string} key @param {number} rowsInSight
 * @returns {number}
 */
export function cardFor(layout, index, key, rowsInSight) {
  const last = layout.rowOfCard.length - 1;
  switch (key) {
    case 'ArrowLeft': return Math.max(0, index - 1);
    case 'ArrowRight': return Math.min(last, index + 1);
    case 'Home': return 0;
    case 'End': return last;
    case 'ArrowUp': return rowsAway(layout, index, -1);
    case 'ArrowDown': return rowsAway(layout, index, 1);
    case 'PageUp': return rowsAway(layout, index, -rowsInSight);
    case 'PageDown': return rowsAway(layout, index, rowsInSight);
    default: return index;
  }
}

/** @param {Layout} layout @param {number} index @param {number} count */
function rowsAway(layout, index, count) {
  const { rows, rowOfCard } = layout;
  const step = Math.sign(count);
  let at = rowOfCard[index];
  const column = index - rows[at].start;
  for (let left = Math.abs(count); left > 0; left--) {
    let next = at + step;
    if (rows[next] && rows[next].start === rows[next].end) next += step;
    if (!rows[next]) break;
    at = next;
  }
  if (at === rowOfCard[index]) return index;
  return Math.min(rows[at].start + column, rows[at].end - 1);
}
