// What the inbox says in passing: to ears, in a live region; to eyes and ears, in a notice that
// goes away by itself and may offer to undo.

import { button, el } from './dom.js';

const noticeMs = 8000;
// More would cover what they speak of.
const mostNotices = 3;
const speechPauseMs = 300;

const speech = el('div', { class: 'for-ears', role: 'status', 'aria-live': 'polite', id: 'speech' });
const notices = el('div', { class: 'notices', role: 'region', 'aria-label': 'Notices' });
/** @type {{close: () => void, isLasting: boolean}[]} */
const shown = [];
/** @type {string[]} */
let unsaid = [];
let speechTimer = 0;

/** Puts both regions into the document; before any of the other calls. */
export function addNotices() {
  document.body.append(notices, speech);
}

/**
 * Says something to screen readers. What comes in quick succession is said together.
 * @param {string} text
 */
export function say(text) {
  if (unsaid[unsaid.length - 1] !== text) unsaid.push(text);
  clearTimeout(speechTimer);
  speechTimer = setTimeout(() => {
    // More than three sentences are noise; the last ones are how things are now.
    speech.textContent = unsaid.slice(-3).join(' ');
    unsaid = [];
  }, speechPauseMs);
}

/** The oldest makes way; errors and what stays only if there is nothing else. */
function makeRoom() {
  while (shown.length >= mostNotices) (shown.find(({ isLasting }) => !isLasting) ?? shown[0]).close();
}

/**
 * Shows a notice and says it. Each line of the text is one of the notice.
 * @param {string} text
 * @param {{action?: {name: string, run: () => void}, isError?: boolean, stays?: boolean}} [options]
 * @returns {{update: (text: string) => void, close: () => void}}
 */
export function notify(text, options = {}) {
  const { action, isError = false, stays = false } = options;
  const words = el('span', { class: 'notice-text' }, text);
  const box = el('div', { class: `notice${isError ? ' is-error' : ''}` }, words);
  let timer = 0;
  const close = () => {
    clearTimeout(timer);
    box.remove();
    const at = shown.indexOf(entry);
    if (at >= 0) shown.splice(at, 1);
  };
  const entry = { close, isLasting: isError || stays };
  const start = () => {
    clearTimeout(timer);
    if (!stays) timer = setTimeout(close, isError ? 2 * noticeMs : noticeMs);
  };
  if (action) {
    box.append(button({ name: action.name, kind: 'notice-action' }, () => {
      close();
      action.run();
    }));
  }
  box.append(button({ icon: 'close', name: 'Close', quiet: true }, close));
  // Nobody has to hurry who is reading it or about to press its button.
  for (const event of ['pointerenter', 'focusin']) box.addEventListener(event, () => clearTimeout(timer));
  for (const event of ['pointerleave', 'focusout']) box.addEventListener(event, start);
  makeRoom();
  shown.push(entry);
  notices.append(box);
  notices.scrollTop = notices.scrollHeight;
  say(text);
  start();
  return { update: (next) => { words.textContent = next; say(next); }, close };
}

/**
 * Asks before something that can't be undone.
 * @param {{title: string, text: string, yes: string}} question @returns {Promise<boolean>}
 */
export function ask({ title, text, yes }) {
  return new Promise((resolve) => {
    const dialog = el('dialog', { class: 'dialog', 'aria-labelledby': 'ask-title', 'aria-describedby': 'ask-text' });
    let answer = false;
    dialog.append(el('h2', { id: 'ask-title' }, title), el('p', { id: 'ask-text' }, text),
      el('div', { class: 'dialog-buttons' },
        button({ name: 'Cancel' }, () => dialog.close()),
        button({ name: yes, kind: 'button button-danger' }, () => {
          answer = true;
          dialog.close();
        })));
    dialog.addEventListener('close', () => {
      dialog.remove();
      resolve(answer);
    });
    document.body.append(dialog);
    dialog.showModal();
  });
}

/**
 * Shows sentences that are too many for a notice.
 * @param {string} title @param {string[]} lines
 */
export function showList(title, lines) {
  const dialog = el('dialog', { class: 'dialog', 'aria-labelledby': 'list-title' });
  dialog.append(
    el('header', { class: 'dialog-head' }, el('h2', { id: 'list-title' }, title),
      button({ icon: 'close', name: 'Close', quiet: true }, () => dialog.close())),
    el('ul', { class: 'dialog-list' }, ...lines.map((line) => el('li', {}, line))));
  dialog.addEventListener('close', () => dialog.remove());
  document.body.append(dialog);
  dialog.showModal();
}
