// Pages as files: the menu of formats, and the download.

import { exportPages, messageOf } from './api.js';
import { el } from './dom.js';
import { plural } from './format.js';
import { menuButton } from './menu.js';
import { notify } from './notices.js';

/** @typedef {import('./api.js').Format} Format */
/** @typedef {import('./api.js').Page} Page */

/** @type {{format: Format, name: string, note: string, severalPages: boolean, onePen?: boolean}[]} */
const formats = [
  { format: 'pdf', name: 'PDF', note: 'to print and to send', severalPages: true },
  { format: 'png', name: 'PNG', note: 'a picture', severalPages: false },
  { format: 'svg', name: 'SVG', note: 'a drawing', severalPages: false },
  { format: 'inkml', name: 'InkML', note: 'ink for other programs', severalPages: true, onePen: true },
  { format: 'xopp', name: '.xopp', note: 'a notebook', severalPages: true },
  { format: 'stf2', name: 'STF2', note: 'ink as the pen sent it', severalPages: true, onePen: true },
];

/**
 * A button with the formats that these pages can have.
 * @param {() => Page[]} pages asked for when the menu opens
 * @param {{icon?: string, name: string, quiet?: boolean}} [look]
 */
export function exportButton(pages, look = { icon: 'export', name: 'Export', quiet: true }) {
  return menuButton(look, () => {
    const chosen = pages();
    const ids = chosen.map((page) => page.id);
    return formats.filter((entry) => canBe(chosen, entry)).map((entry) => {
      const reason = whyNot(chosen, entry);
      return { name: entry.name, note: reason || entry.note, disabled: Boolean(reason), run: () => download(ids, entry.format) };
    });
  });
}

/**
 * Ink that can't be shown can still leave as it came.
 * @param {Page[]} pages @param {typeof formats[0]} entry
 */
function canBe(pages, entry) {
  if (pages.length > 1) return entry.severalPages;
  return pages[0]?.kind === 'ink' || entry.format === 'stf2';
}

/**
 * Why a selection can't have this format although several pages could; empty if it can.
 * @param {Page[]} pages @param {typeof formats[0]} entry
 */
function whyNot(pages, entry) {
  if (pages.length > 1 && pages.some((page) => page.kind !== 'ink')) return 'a page that can’t be shown leaves alone';
  if (entry.onePen && pages.some((page) => page.pen !== pages[0].pen)) return 'for pages of one pen';
  return '';
}

/**
 * Makes the file and hands it to the browser.
 * @param {number[]} pages @param {Format} format
 */
export async function download(pages, format) {
  const notice = notify(`Making a file of ${plural(pages.length, 'page')} …`, { stays: true });
  try {
    const { name, bytes } = await exportPages(pages, format);
    const address = URL.createObjectURL(bytes);
    el('a', { href: address, download: name }).click();
    // The browser has begun to read it by then.
    setTimeout(() => URL.revokeObjectURL(address), 60000);
    notify(`${name} is among your downloads.`);
  } catch (error) {
    notify(`Nothing was exported. ${messageOf(error)}`, { isError: true });
  } finally {
    notice.close();
  }
}
