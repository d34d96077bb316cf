// What stands where pages would be if there are none: the first steps, or why nothing is listed.

import { button, el } from './dom.js';
import { chooseFiles } from './imports.js';

/**
 * First start.
 * @param {() => void} openPad @returns {HTMLElement}
 */
export function welcome(openPad) {
  return el('section', { class: 'welcome', 'aria-labelledby': 'welcome-title' },
    el('h2', { id: 'welcome-title' }, 'Your ink comes here'),
    el('p', { class: 'welcome-lead' }, 'Whatever your pens write on paper appears on this desk, page by page, by itself. There is none yet. Three ways to begin:'),
    el('ol', { class: 'welcome-ways' },
      way('Write something', 'With mouse, finger or stylus. It travels like a pen’s ink and comes back as a page.',
        button({ icon: 'pen', name: 'Write on the pad', kind: 'button button-main' }, openPad)),
      way('Bring ink that you have', 'Drop STF2, InkML, .xopp or SVG files anywhere on this window.',
        button({ icon: 'import', name: 'Choose files' }, chooseFiles)),
      way('Let a pen’s ink arrive', 'The inbox is subscribed to every page when it is installed. See that it is, and import what a pen has captured:',
        el('pre', {}, el('code', {}, 'quillpost subscriptions list\nquillpost import captured.stf2')))));
}

/** @param {string} title @param {string} text @param {HTMLElement} how */
function way(title, text, how) {
  return el('li', {}, el('h3', {}, title), el('p', {}, text), how);
}

/** @param {string} title @param {string} text @param {HTMLElement | null} [how] */
export function nothing(title, text, how = null) {
  return el('section', { class: 'welcome nothing' }, el('h2', {}, title), el('p', { class: 'welcome-lead' }, text), how);
}
