// The desk: the bar at the top, the list of pages or what stands in its place, and the bar of the
// selection. It lists what the address asks for and stays as it is while a page is open.
//
// Events: 'open' with the page as detail and 'rename' with it when its title is to be edited;
// 'pad'; 'filter' with a filter; 'to-trash' with ids, 'from-trash' with ids.

import { button, el, isTyping } from './dom.js';
import { exportButton } from './exports.js';
import { plural } from './format.js';
import { InkGrid } from './grid.js';
import { chooseFiles } from './imports.js';
import { isNarrow, noFilter } from './library.js';
import { menuButton } from './menu.js';
import { ask, notify } from './notices.js';
import { InkSearch } from './searchbar.js';
import { Selection } from './selection.js';
import { actionFor, showShortcuts } from './shortcuts.js';
import { setTheme, theme } from './theme.js';
import { nothing, welcome } from './welcome.js';
import { fetchStatus, messageOf, purgePages } from './api.js';

/** @typedef {import('./api.js').Page} Page */
/** @typedef {import('./library.js').Library} Library */

export class InkDesk extends HTMLElement {
  selection = new Selection();

  /** @param {Library} library */
  constructor(library) {
    super();
    this.library = library;
    this.search = new InkSearch();
    this.grid = new InkGrid(this.selection);
    this.instead = el('div', { class: 'instead', hidden: true });
    this.trashHead = el('div', { class: 'trash-head', hidden: true },
      button({ icon: 'back', name: 'All pages', quiet: true }, () => this.#send('filter', noFilter)), el('h2', {}, 'Trash'),
      el('span', { class: 'trash-note' }, 'Pages stay here until you delete them for ever.'));
    this.selected = el('div', { class: 'selection', role: 'region', 'aria-label': 'Selected pages', hidden: true });
    this.count = el('span', { class: 'selection-count', role: 'status' });
    this.#listen();
  }

  connectedCallback() {
    this.classList.add('desk');
    this.append(this.#makeBar(), this.trashHead, el('main', { class: 'desk-main' }, this.instead, this.grid), this.selected);
  }

  /** @param {string} kind @param {unknown} [detail] */
  #send(kind, detail) {
    this.dispatchEvent(new CustomEvent(kind, { detail }));
  }

  #makeBar() {
    return el('header', { class: 'bar' },
      el('h1', { class: 'brand' }, el('a', { href: '#/' }, 'Ink inbox')),
      this.search,
      el('div', { class: 'bar-tools' },
        button({ icon: 'pen', name: 'Write', kind: 'button button-main' }, () => this.#send('pad'), { title: 'Write on the pad' }),
        button({ icon: 'import', name: 'Import ink files', quiet: true }, chooseFiles),
        menuButton({ icon: 'more', name: 'More', quiet: true }, () => this.#moreItems())));
  }

  #moreItems() {
    const now = theme();
    return [
      { name: 'Trash', icon: 'trash', run: () => this.#send('filter', { ...noFilter, trash: true }) },
      { name: 'Keys', icon: 'keys', run: showShortcuts },
      { name: 'As the system', icon: 'system', checked: now === 'system', run: () => setTheme('system') },
      { name: 'Light', icon: 'day', checked: now === 'light', run: () => setTheme('light') },
      { name: 'Dark', icon: 'night', checked: now === 'dark', run: () => setTheme('dark') },
    ];
  }

  #listen() {
    this.library.addEventListener('change', () => this.#show());
    this.selection.addEventListener('change', () => this.#showSelection());
    this.search.addEventListener('filter', (event) =>
      this.#send('filter', { .../** @type {CustomEvent} */ (event).detail, trash: this.library.filter.trash }));
    this.search.addEventListener('leave', () => this.grid.focusPage());
    this.grid.addEventListener('near-end', () => this.library.more());
    for (const kind of ['open', 'rename']) {
      this.grid.addEventListener(kind, (event) => this.#send(kind, /** @type {CustomEvent} */ (event).detail));
    }
    this.grid.addEventListener('trash', (event) => this.#remove(/** @type {CustomEvent} */ (event).detail));
    addEventListener('keydown', (event) => this.#onKey(event));
  }

  #show() {
    const { library } = this;
    this.selection.keep((id) => library.byId.has(id));
    this.grid.show(library.pages, Boolean(library.next));
    this.trashHead.hidden = !library.filter.trash;
    this.search.show(library.filter);
    const instead = this.#whatInstead();
    this.instead.hidden = !instead;
    this.grid.hidden = Boolean(instead);
    this.instead.replaceChildren(...(instead ? [instead] : []));
  }

  #whatInstead() {
    const { library } = this;
    if (library.pages.length) return null;
    if (library.error) return nothing('The pages can’t be listed', messageOf(library.error), button({ name: 'Try again' }, () => library.reload()));
    if (!library.hasLoaded) return null;
    if (isNarrow(library.filter)) {
      return nothing('Nothing found', 'No page has such a title, address, pen or day.', button({ name: 'Show all pages' }, () => this.search.clear()));
    }
    if (library.filter.trash) return nothing('The trash is empty', 'Pages that you move to the trash wait here.');
    return this.#nothingYet();
  }

  /** The first start, unless all pages are in the trash. */
  #nothingYet() {
    const holder = el('div');
    const inTrash = fetchStatus().then(({ trash }) => trash, () => 0);
    inTrash.then((count) => holder.replaceWith(count
      ? nothing('All pages are in the trash', 'Ink that arrives appears here.',
        button({ icon: 'trash', name: 'Show the trash' }, () => this.#send('filter', { ...noFilter, trash: true })))
      : welcome(() => this.#send('pad'))));
    return holder;
  }

  #showSelection() {
    const { size } = this.selection;
    this.selected.hidden = !size;
    this.count.textContent = size ? `${plural(size, 'page')} selected` : '';
    if (!size) return;
    const ids = () => [...this.selection.ids];
    // In the order of the list, whichever was selected first.
    const pages = () => this.library.pages.filter((page) => this.selection.has(page.id));
    this.selected.replaceChildren(this.count, ...(this.library.filter.trash
      ? [button({ icon: 'restore', name: 'Restore' }, () => this.#send('from-trash', ids())),
        button({ icon: 'trash', name: 'Delete for ever', kind: 'button button-danger' }, () => this.#remove(ids()))]
      : [exportButton(pages, { icon: 'export', name: 'Export' }),
        button({ icon: 'trash', name: 'Trash' }, () => this.#remove(ids()))]),
    button({ icon: 'close', name: 'Select nothing', quiet: true }, () => this.#clearSelection()));
  }

  #clearSelection() {
    this.selection.clear();
    this.grid.focusPage();
  }

  /**
   * To the trash, or out of it for ever.
   * @param {number[]} ids
   */
  async #remove(ids) {
    if (!ids.length) return;
    const next = this.#neighbourOf(ids);
    if (!this.library.filter.trash) this.#send('to-trash', ids);
    else if (!await this.#purge(ids)) return;
    this.selection.clear();
    this.grid.focusPage(next);
  }

  /**
   * The page that has the focus after these are gone.
   * @param {number[]} ids @returns {number | null}
   */
  #neighbourOf(ids) {
    const gone = new Set(ids);
    const { pages } = this.library;
    const first = pages.findIndex((page) => gone.has(page.id));
    const after = pages.slice(first).find((page) => !gone.has(page.id));
    return (after ?? pages[first - 1])?.id ?? null;
  }

  /** @param {number[]} ids @returns {Promise<boolean>} */
  async #purge(ids) {
    const yes = await ask({
      title: `Delete ${plural(ids.length, 'page')} for ever?`, text: 'The ink is deleted and can’t be brought back.', yes: 'Delete for ever',
    });
    if (!yes) return false;
    try {
      await purgePages(ids);
      this.library.remove(ids);
    } catch (error) {
      notify(`Nothing was deleted. ${messageOf(error)}`, { isError: true });
    }
    return true;
  }

  /** @param {KeyboardEvent} event */
  #onKey(event) {
    if (this.hidden || document.querySelector('dialog[open]')) return;
    const action = actionFor(event, 'grid');
    if (action === 'clear' && this.selection.size) this.#clearSelection();
    else if (action === 'trash' && this.selection.size && !isTyping(event)) this.#remove([...this.selection.ids]);
    else if (action === 'export' && this.selection.size) this.selected.querySelector('button')?.click();
    else return;
    event.preventDefault();
  }
}

customElements.define('ink-desk', InkDesk);
