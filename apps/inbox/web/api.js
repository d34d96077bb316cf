// The inbox's interface over HTTP, as functions. Every refusal is an ApiError whose message is a
// sentence for people.

import { asSentence } from './format.js';

/**
 * @typedef {object} Page
 * @property {number} id
 * @property {string} pen the pen's serial
 * @property {string} address
 * @property {string} title may be empty
 * @property {number} strokes
 * @property {number} points
 * @property {number} start when the first stroke was begun; 0 if the pen has no clock
 * @property {number} end
 * @property {number} arrived when the latest ink came in
 * @property {number} revision grows with every change
 * @property {number} width of the paper, in micrometres
 * @property {number} height
 * @property {'ink' | 'sealed' | 'unreadable'} kind
 * @property {string} reason why it can't be shown
 * @property {number} trashed when it went to the trash, or 0
 */

/** @typedef {[number, number, number, number]} InkPoint ms after the stroke's start, x, y, width in micrometres */

/**
 * @typedef {object} Stroke
 * @property {number} id
 * @property {string} color
 * @property {number} opacity
 * @property {boolean} [darkens] like a highlighter: never lighter than what is below
 * @property {number} start ms since 1970, or 0
 * @property {string} d its outline as SVG path data
 * @property {InkPoint[]} line
 */

/** @typedef {{x: number, y: number, width: number, height: number}} Paper in micrometres */
/** @typedef {{revision: number, paper: Paper, strokes: Stroke[]}} Ink */
/** @typedef {{state: 'connected' | 'away', hindrance: string}} StreamState */
/** @typedef {{service: 'connected' | 'away', hindrance: string, stream: StreamState | null, pages: number, trash: number, version: string, pad: {pen: string}}} Status */
/** @typedef {{pen: string, name: string, pages: number}} Pen */
/** @typedef {{q: string, pen: string, from: number, to: number, trash: boolean}} Filter when it was written in ms, both ends included, 0 for open */
/** @typedef {{color: string, width: number, start: number, points: InkPoint[]}} PadStroke force in the last place, 0 to 1 */
/** @typedef {{page: string, width: number, height: number, strokes: PadStroke[]}} PadSheet */
/** @typedef {'pdf' | 'png' | 'svg' | 'inkml' | 'xopp' | 'stf2'} Format */

export class ApiError extends Error {
  /** @param {number} status 0 if the inbox could not be reached @param {string} message */
  constructor(status, message) {
    super(message);
    this.status = status;
  }
}

/** @param {unknown} error @returns {string} */
export function messageOf(error) {
  return error instanceof Error ? error.message : String(error);
}

/**
 * Whether the request was given up by us.
 * @param {unknown} error
 */
export function isAbort(error) {
  return error instanceof DOMException && error.name === 'AbortError';
}

/** @param {string} path @param {RequestInit} [options] @returns {Promise<Response>} */
async function request(path, options = {}) {
  let response;
  try {
    response = await fetch(path, options);
  } catch (error) {
    if (isAbort(error)) throw error;
    throw new ApiError(0, 'The inbox does not answer.');
  }
  if (response.ok) return response;
  let message = `The inbox answers ${response.status}.`;
  try {
    message = (await response.json()).error || message;
  } catch {
    // Whatever it was, it was not for us to read.
  }
  throw new ApiError(response.status, asSentence(message));
}

/** @param {string} path @param {AbortSignal} [signal] @returns {Promise<any>} */
async function get(path, signal) {
  return (await request(path, { signal })).json();
}

/** @param {string} path @param {object} body @returns {Promise<any>} */
async function post(path, body) {
  const response = await request(path, {
    method: 'POST', headers: { 'Content-Type': 'application/json' }, body: JSON.stringify(body),
  });
  const text = await response.text();
  return text ? JSON.parse(text) : {};
}

/** @returns {Promise<Status>} */
export const fetchStatus = () => get('/api/status');

/** @returns {Promise<Pen[]>} */
export const fetchPens = () => get('/api/pens');

/** @param {number} id @returns {Promise<Page>} */
export const fetchPage = (id) => get(`/api/pages/${id}`);

/**
 * @param {Filter} filter @param {string | null} after @param {number} limit @param {AbortSignal} [signal]
 * @returns {Promise<{pages: Page[], next: string | null}>}
 */
export function fetchPages(filter, after, limit, signal) {
  const query = new URLSearchParams({ limit: String(limit), trash: filter.trash ? '1' : '0' });
  if (filter.q) query.set('q', filter.q);
  if (filter.pen) query.set('pen', filter.pen);
  if (filter.from) query.set('from', String(filter.from));
  if (filter.to) query.set('to', String(filter.to));
  if (after) query.set('after', after);
  return get(`/api/pages?${query}`, signal);
}

/**
 * The page at this address of this pen.
 * @param {string} address @param {string} pen @returns {Promise<Page | null>}
 */
export async function findPage(address, pen) {
  const { pages } = await get(`/api/pages?${new URLSearchParams({ address, pen, limit: '1' })}`);
  return pages[0] ?? null;
}

/** @param {number} id @param {number} [since] a stroke's number @param {AbortSignal} [signal] @returns {Promise<Ink>} */
export function fetchInk(id, since = 0, signal) {
  return get(`/api/pages/${id}/ink${since ? `?since=${since}` : ''}`, signal);
}

/**
 * The picture for a card. The revision makes the address new when the page is.
 * @param {Page} page
 */
export function pictureOf(page) {
  return `/api/pages/${page.id}/picture.png?size=480&revision=${page.revision}`;
}

/** @param {number} id @param {string} title */
export const saveTitle = (id, title) => post(`/api/pages/${id}/title`, { title });

const mostPagesAtOnce = 1000;

/**
 * @param {'trash' | 'restore' | 'purge'} what
 * @param {number[]} pages
 */
async function movePages(what, pages) {
  for (let first = 0; first < pages.length; first += mostPagesAtOnce) {
    await post(`/api/pages/${what}`, { pages: pages.slice(first, first + mostPagesAtOnce) });
  }
}

/** @param {number[]} pages */
export const trashPages = (pages) => movePages('trash', pages);

/** @param {number[]} pages */
export const restorePages = (pages) => movePages('restore', pages);

/**
 * Deletes pages that are in the trash, for ever.
 * @param {number[]} pages
 */
export const purgePages = (pages) => movePages('purge', pages);

/** @param {PadSheet} sheet @returns {Promise<{page: string}>} */
export const sendPad = (sheet) => post('/api/pad', sheet);

/** @param {File} file @returns {Promise<{result: string, told?: string[]}>} */
export async function importFile(file) {
  const response = await request(`/api/import?name=${encodeURIComponent(file.name)}`, {
    method: 'POST', headers: { 'Content-Type': 'application/octet-stream' }, body: file,
  });
  return response.json();
}

/**
 * The pages as a file.
 * @param {number[]} pages @param {Format} format @returns {Promise<{name: string, bytes: Blob}>}
 */
export async function exportPages(pages, format) {
  const response = await request(`/api/export?pages=${pages.join(',')}&format=${format}`);
  const stated = /filename="([^"]+)"/.exec(response.headers.get('Content-Disposition') ?? '');
  return { name: stated ? stated[1] : `ink.${format}`, bytes: await response.blob() };
}
