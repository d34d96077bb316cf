// Numbers, days and times as people read them.

/** @typedef {import('./api.js').Page} Page */

const locale = navigator.language.startsWith('en') ? navigator.language : 'en-GB';
const dayFormat = new Intl.DateTimeFormat(locale, { weekday: 'long', day: 'numeric', month: 'long' });
const dayOfYearFormat = new Intl.DateTimeFormat(locale, { day: 'numeric', month: 'long', year: 'numeric' });
const timeFormat = new Intl.DateTimeFormat(locale, { timeStyle: 'short' });
const numberFormat = new Intl.NumberFormat(locale);

/** @param {number} count @param {string} one @param {string} [many] */
export function plural(count, one, many = `${one}s`) {
  return `${numberFormat.format(count)} ${count === 1 ? one : many}`;
}

/**
 * With a capital and a full stop.
 * @param {string} text
 */
export function asSentence(text) {
  return text.charAt(0).toUpperCase() + text.slice(1) + (/[.!?]$/.test(text) ? '' : '.');
}

/**
 * Midnight before this moment, here.
 * @param {number} ms @returns {number}
 */
export function dayOf(ms) {
  return new Date(ms).setHours(0, 0, 0, 0);
}

/**
 * "Today", "Wednesday 4 March", "4 March 2024".
 * @param {number} ms @param {number} [now]
 */
export function dayName(ms, now = Date.now()) {
  const day = dayOf(ms);
  const days = Math.round((dayOf(now) - day) / 86400000);
  if (days === 0) return 'Today';
  if (days === 1) return 'Yesterday';
  const isThisYear = new Date(day).getFullYear() === new Date(now).getFullYear();
  return (isThisYear ? dayFormat : dayOfYearFormat).format(day);
}

/** @param {number} ms */
export function timeOfDay(ms) {
  return timeFormat.format(ms);
}

/**
 * "1:02", or "1:00:02" from an hour.
 * @param {number} ms
 */
export function clock(ms) {
  const seconds = Math.floor(ms / 1000);
  const two = (/** @type {number} */ number) => String(number).padStart(2, '0');
  const minutes = Math.floor(seconds / 60);
  if (minutes < 60) return `${minutes}:${two(seconds % 60)}`;
  return `${Math.floor(minutes / 60)}:${two(minutes % 60)}:${two(seconds % 60)}`;
}

/**
 * "2 minutes", for ears and for a glance.
 * @param {number} ms
 */
export function about(ms) {
  const seconds = Math.round(ms / 1000);
  if (seconds < 90) return plural(seconds, 'second');
  if (seconds < 90 * 60) return plural(Math.round(seconds / 60), 'minute');
  if (seconds < 36 * 3600) return plural(Math.round(seconds / 3600), 'hour');
  return plural(Math.round(seconds / 86400), 'day');
}

// Pages that no paper has: the inbox's own number, the sheet, and the page of a document.
const ownAddress = /^2147483647\.\d+\.(\d+)\.(\d+)$/;

/**
 * What a page is called when nobody gave it a title.
 * @param {Page} page
 */
export function pageName(page) {
  if (page.title) return page.title;
  if (page.kind === 'sealed') return 'Sealed ink';
  return page.address ? addressName(page.address) : 'Ink without a page';
}

/**
 * "Page 1.2.3.4"; "Pad, sheet 3" for an address that the inbox gave.
 * @param {string} address
 */
export function addressName(address) {
  const [, sheet, page] = ownAddress.exec(address) ?? [];
  if (!sheet) return `Page ${address}`;
  return page === '1' ? `Pad, sheet ${sheet}` : `Pad, sheet ${sheet}, page ${page}`;
}

/**
 * When the ink was written, or came in if the pen has no clock.
 * @param {Page} page
 */
export function whenOf(page) {
  return page.start || page.arrived;
}

/**
 * The whole card in a sentence, for screen readers.
 * @param {Page} page
 */
export function describePage(page) {
  const parts = [pageName(page)];
  if (page.title && page.address) parts.push(addressName(page.address));
  if (page.kind === 'sealed') parts.push('sealed');
  else if (page.kind === 'unreadable') parts.push('can’t be shown');
  else parts.push(plural(page.strokes, 'stroke'));
  parts.push(`${dayName(page.arrived)} ${timeOfDay(page.arrived)}`, `pen ${page.pen}`);
  return parts.join(', ');
}
