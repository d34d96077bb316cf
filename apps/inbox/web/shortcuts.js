// Every key of the inbox, in one table that both the views and the help read.

import { button, el, isTyping } from './dom.js';

/** @typedef {'everywhere' | 'grid' | 'page' | 'pad'} Scope */
/** @typedef {{action: string, scope: Scope, keys: string[], says: string}} Shortcut */

/** @type {Shortcut[]} */
export const shortcuts = [
  { action: 'search', scope: 'everywhere', keys: ['/'], says: 'Search' },
  { action: 'pad', scope: 'everywhere', keys: ['n'], says: 'Write on the pad' },
  { action: 'import', scope: 'everywhere', keys: ['i'], says: 'Import ink files' },
  { action: 'undo-trash', scope: 'everywhere', keys: ['Ctrl+z'], says: 'Take pages back out of the trash' },
  { action: 'help', scope: 'everywhere', keys: ['?'], says: 'Show these keys' },
  { action: 'open', scope: 'grid', keys: ['Enter'], says: 'Open the page' },
  { action: 'select', scope: 'grid', keys: [' ', 'x'], says: 'Select the page' },
  { action: 'select-all', scope: 'grid', keys: ['Ctrl+a'], says: 'Select all listed pages' },
  { action: 'clear', scope: 'grid', keys: ['Escape'], says: 'Select nothing' },
  { action: 'rename', scope: 'grid', keys: ['F2'], says: 'Give the page a title' },
  { action: 'export', scope: 'grid', keys: ['e'], says: 'Export selected pages' },
  { action: 'trash', scope: 'grid', keys: ['Delete'], says: 'Move to the trash' },
  { action: 'back', scope: 'page', keys: ['Escape'], says: 'Back to all pages' },
  { action: 'newer', scope: 'page', keys: ['PageUp'], says: 'Newer page' },
  { action: 'older', scope: 'page', keys: ['PageDown'], says: 'Older page' },
  { action: 'play', scope: 'page', keys: [' ', 'k'], says: 'Write the page again, or pause' },
  { action: 'slower', scope: 'page', keys: ['<'], says: 'Slower' },
  { action: 'faster', scope: 'page', keys: ['>'], says: 'Faster' },
  { action: 'zoom-in', scope: 'page', keys: ['+', '='], says: 'Closer' },
  { action: 'zoom-out', scope: 'page', keys: ['-'], says: 'Further away' },
  { action: 'fit', scope: 'page', keys: ['0'], says: 'The whole page' },
  { action: 'actual-size', scope: 'page', keys: ['1'], says: 'As large as on paper' },
  { action: 'pan-left', scope: 'page', keys: ['ArrowLeft'], says: 'Move left' },
  { action: 'pan-right', scope: 'page', keys: ['ArrowRight'], says: 'Move right' },
  { action: 'pan-up', scope: 'page', keys: ['ArrowUp'], says: 'Move up' },
  { action: 'pan-down', scope: 'page', keys: ['ArrowDown'], says: 'Move down' },
  { action: 'rename', scope: 'page', keys: ['F2'], says: 'Give the page a title' },
  { action: 'export', scope: 'page', keys: ['e'], says: 'Export' },
  { action: 'trash', scope: 'page', keys: ['Delete'], says: 'Move to the trash' },
  { action: 'undo', scope: 'pad', keys: ['Ctrl+z'], says: 'Take back the last stroke that was not sent' },
  { action: 'send', scope: 'pad', keys: ['Ctrl+Enter'], says: 'Send now' },
  { action: 'new-sheet', scope: 'pad', keys: ['Alt+n'], says: 'New sheet' },
  { action: 'back', scope: 'pad', keys: ['Escape'], says: 'Back to all pages' },
];

const scopeNames = { everywhere: 'Everywhere', grid: 'In the list of pages', page: 'On a page', pad: 'On the pad' };
const keyNames = new Map([
  [' ', 'Space'], ['Escape', 'Esc'], ['ArrowLeft', '←'], ['ArrowRight', '→'], ['ArrowUp', '↑'], ['ArrowDown', '↓'],
  ['PageUp', 'Page up'], ['PageDown', 'Page down'],
]);
const singleKeysStored = 'single-keys';

// Speech input types single characters by accident; who uses it can turn them off.
function singleKeysAreOn() {
  return localStorage.getItem(singleKeysStored) !== 'off';
}

/** @param {KeyboardEvent} event @param {Scope} scope @returns {string | undefined} the action that the key means */
export function actionFor(event, scope) {
  if (event.defaultPrevented || event.isComposing) return undefined;
  const hasControl = event.ctrlKey || event.metaKey;
  const isCharacter = event.key.length === 1 && event.key !== ' ' && !hasControl;
  if (isCharacter && (isTyping(event) || !singleKeysAreOn())) return undefined;
  const pressed = `${hasControl ? 'Ctrl+' : ''}${event.altKey ? 'Alt+' : ''}${event.key.length === 1 ? event.key.toLowerCase() : event.key}`;
  return shortcuts.find((shortcut) => shortcut.scope === scope && shortcut.keys.includes(pressed))?.action;
}

/** @param {string} key "Ctrl+z" @returns {HTMLElement} */
function keyCap(key) {
  const caps = key.split(/(?<=.)\+/).map((part) => keyNames.get(part) ?? (part.length === 1 ? part.toUpperCase() : part));
  return el('span', { class: 'keys' }, ...caps.map((cap) => el('kbd', {}, cap)));
}

/** @param {Scope} scope */
function tableOf(scope) {
  const rows = shortcuts.filter((shortcut) => shortcut.scope === scope).map((shortcut) =>
    el('div', { class: 'shortcut' }, el('dt', {}, ...shortcut.keys.map(keyCap)), el('dd', {}, shortcut.says)));
  if (scope === 'grid') {
    rows.unshift(el('div', { class: 'shortcut' }, el('dt', {}, keyCap('ArrowLeft'), keyCap('ArrowRight'), keyCap('ArrowUp'), keyCap('ArrowDown')),
      el('dd', {}, 'Move; with Shift select')));
  }
  return el('section', {}, el('h3', {}, scopeNames[scope]), el('dl', {}, ...rows));
}

/** Shows the keys. */
export function showShortcuts() {
  if (document.querySelector('dialog.help')) return;
  const dialog = el('dialog', { class: 'dialog help', 'aria-labelledby': 'help-title' });
  const single = el('input', { type: 'checkbox' });
  single.checked = singleKeysAreOn();
  single.addEventListener('change', () => localStorage.setItem(singleKeysStored, single.checked ? 'on' : 'off'));
  dialog.append(
    el('header', { class: 'dialog-head' }, el('h2', { id: 'help-title' }, 'Keys'),
      button({ icon: 'close', name: 'Close', quiet: true }, () => dialog.close())),
    el('div', { class: 'help-tables' }, ...(/** @type {Scope[]} */ (['everywhere', 'grid', 'page', 'pad'])).map(tableOf)),
    el('label', { class: 'check-row' }, single, 'Single letters work as keys'));
  dialog.addEventListener('close', () => dialog.remove());
  document.body.append(dialog);
  dialog.showModal();
}
