// Which view the address shows. Addresses are fragments, so that the browser's Back works and the
// server has one page.

import { noFilter } from './library.js';

/** @typedef {import('./api.js').Filter} Filter */
/** @typedef {{view: 'pages' | 'page' | 'pad', filter: Filter, page: number}} Route */

/** @param {string} hash @returns {Route} */
export function parseRoute(hash) {
  const [path, query = ''] = hash.replace(/^#/, '').split('?', 2);
  const page = /^\/page\/(\d{1,15})$/.exec(path);
  if (page) return { view: 'page', filter: noFilter, page: Number(page[1]) };
  if (path === '/pad') return { view: 'pad', filter: noFilter, page: 0 };
  const stated = new URLSearchParams(query);
  const number = (/** @type {string} */ name) => Math.max(0, Number(stated.get(name)) || 0);
  const filter = {
    q: stated.get('q') ?? '', pen: stated.get('pen') ?? '', from: number('from'), to: number('to'), trash: path === '/trash',
  };
  return { view: 'pages', filter, page: 0 };
}

/**
 * How many files were refused that the program was just asked to show: whoever opened them from a
 * file manager sees no terminal.
 * @param {string} hash
 */
export function refusedFiles(hash) {
  return Math.max(0, Number(new URLSearchParams(hash.split('?', 2)[1]).get('refused')) || 0);
}

/** @param {Filter} filter */
export function addressOf(filter) {
  const query = new URLSearchParams();
  for (const name of /** @type {const} */ (['q', 'pen', 'from', 'to'])) {
    if (filter[name]) query.set(name, String(filter[name]));
  }
  const asked = String(query);
  return `#/${filter.trash ? 'trash' : ''}${asked && `?${asked}`}`;
}

/** @param {number} id */
export function addressOfPage(id) {
  return `#/page/${id}`;
}
