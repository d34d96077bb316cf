// One page in the grid: its sheet, what it is called, when it came. The grid places it, moves the
// focus to it and knows whether it is selected.

import { pictureOf } from './api.js';
import { el, icon, setAttributes } from './dom.js';
import { describePage, pageName, plural, timeOfDay } from './format.js';
import { sheetSize } from './gridlayout.js';

/** @typedef {import('./api.js').Page} Page */

// Cards that only rush by while one scrolls ask for no picture.
const pictureDelayMs = 60;
const freshMs = 4000;
const checkInset = 6;

export class Card {
  /** @param {Page} page */
  constructor(page) {
    this.page = page;
    this.title = el('div', { class: 'card-title' });
    this.note = el('div', { class: 'card-note' });
    this.sheet = el('div', { class: 'card-sheet' });
    this.check = el('span', { class: 'card-check', 'aria-hidden': 'true' }, icon('check'));
    this.element = el('div', { class: 'card', role: 'option', tabindex: '-1', id: `card-${page.id}` },
      el('div', { class: 'card-room' }, this.sheet), this.title, this.note, this.check);
    this.pictureTimer = 0;
    this.lacksPicture = false;
    /** @type {HTMLImageElement | null} */
    this.picture = null;
  }

  /** @param {Page} page @param {number} width @param {number} height of the room for the sheet */
  show(page, width, height) {
    const isNew = page.revision !== this.page.revision || !this.title.textContent;
    this.page = page;
    const size = sheetSize(page, width);
    this.element.style.width = `${width}px`;
    this.sheet.parentElement?.style.setProperty('height', `${height}px`);
    this.sheet.style.width = `${size.width}px`;
    this.sheet.style.height = `${size.height}px`;
    // In the sheet's corner. Not in the sheet: that shows nothing beyond its edge, and may be tiny.
    this.check.style.top = `${height - size.height + checkInset}px`;
    this.check.style.right = `${Math.floor((width - size.width) / 2) + checkInset}px`;
    if (!isNew) return;
    this.title.textContent = pageName(page);
    this.note.textContent = noteOf(page);
    this.element.setAttribute('aria-label', describePage(page));
    this.element.dataset.kind = page.kind;
    this.#showPicture();
  }

  /** @param {{selected: boolean, position: number, size: number, x: number, y: number}} place */
  place({ selected, position, size, x, y }) {
    setAttributes(this.element, {
      'aria-selected': String(selected), 'aria-posinset': position, 'aria-setsize': size,
    });
    this.element.style.transform = `translate(${x}px, ${y}px)`;
  }

  /** Asks once more for a picture that did not come. */
  retryPicture() {
    if (this.lacksPicture) this.#showPicture();
  }

  /** Ink has just arrived. */
  markFresh() {
    this.element.classList.add('is-fresh');
    clearTimeout(this.freshTimer);
    this.freshTimer = setTimeout(() => this.element.classList.remove('is-fresh'), freshMs);
  }

  freshTimer = 0;

  remove() {
    clearTimeout(this.pictureTimer);
    clearTimeout(this.freshTimer);
    this.picture?.removeAttribute('src');
    this.element.remove();
  }

  #showPicture() {
    clearTimeout(this.pictureTimer);
    if (this.page.kind !== 'ink') {
      this.sheet.replaceChildren(el('div', { class: 'card-no-ink' },
        icon(this.page.kind === 'sealed' ? 'lock' : 'unreadable'), el('span', {}, this.page.reason)));
      return;
    }
    this.pictureTimer = setTimeout(() => {
      const picture = el('img', { class: 'card-picture', alt: '', decoding: 'async', src: pictureOf(this.page), draggable: 'false' });
      // The old picture stays until the new one can be seen.
      picture.addEventListener('load', () => {
        this.picture?.remove();
        this.picture = picture;
        picture.classList.add('is-there');
      });
      picture.addEventListener('error', () => {
        picture.remove();
        this.lacksPicture = true;
      });
      this.lacksPicture = false;
      this.sheet.append(picture);
    }, pictureDelayMs);
  }
}

/** @param {Page} page */
function noteOf(page) {
  const time = timeOfDay(page.arrived);
  if (page.kind !== 'ink') return time;
  return `${time} · ${plural(page.strokes, 'stroke')}`;
}
