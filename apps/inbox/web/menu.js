// A button with a menu: arrows move in it, Escape and a click elsewhere close it.

import { button, el, icon } from './dom.js';

/** @typedef {{name: string, note?: string, icon?: string, checked?: boolean, disabled?: boolean, run: () => void}} MenuItem */

/**
 * @param {{icon?: string, name: string, quiet?: boolean, kind?: string}} look
 * @param {() => MenuItem[]} items asked for each time the menu opens
 * @returns {HTMLElement} holds the button and, while open, the menu
 */
export function menuButton(look, items) {
  const holder = el('div', { class: 'menu-holder' });
  const opener = button(look, () => (holder.querySelector('.menu') ? close() : open()), { 'aria-haspopup': 'menu', 'aria-expanded': 'false' });
  holder.append(opener);
  const close = () => {
    const menu = holder.querySelector('.menu');
    if (!menu) return;
    const hadFocus = menu.contains(document.activeElement);
    menu.remove();
    opener.setAttribute('aria-expanded', 'false');
    document.removeEventListener('pointerdown', closeFromOutside);
    if (hadFocus) opener.focus();
  };
  /** @param {Event} event */
  const closeFromOutside = (event) => {
    if (event.target instanceof Node && !holder.contains(event.target)) close();
  };
  const open = () => {
    const menu = el('div', { class: 'menu', role: 'menu', 'aria-label': look.name });
    menu.append(...items().map((item) => menuItem(item, close)));
    menu.addEventListener('keydown', (event) => onKey(event, menu, close));
    holder.append(menu);
    opener.setAttribute('aria-expanded', 'true');
    document.addEventListener('pointerdown', closeFromOutside);
    /** @type {HTMLElement | null} */ (menu.firstElementChild)?.focus();
  };
  holder.addEventListener('focusout', (event) => {
    if (event.relatedTarget instanceof Node && !holder.contains(event.relatedTarget)) close();
  });
  return holder;
}

/** @param {MenuItem} item @param {() => void} close */
function menuItem(item, close) {
  const isChoice = item.checked !== undefined;
  const made = el('button', {
    type: 'button', class: 'menu-item', role: isChoice ? 'menuitemradio' : 'menuitem', tabindex: '-1',
    'aria-checked': isChoice && String(item.checked), 'aria-disabled': item.disabled && 'true',
  }, item.icon && icon(item.icon), el('span', {}, item.name), item.note && el('span', { class: 'menu-note' }, item.note));
  made.addEventListener('click', () => {
    if (item.disabled) return;  // Arrows still lead to it, and its note says why.
    close();
    item.run();
  });
  return made;
}

/** @param {KeyboardEvent} event @param {HTMLElement} menu @param {() => void} close */
function onKey(event, menu, close) {
  const items = /** @type {HTMLElement[]} */ ([...menu.children]);
  const at = items.indexOf(/** @type {HTMLElement} */ (document.activeElement));
  const targets = new Map([
    ['ArrowDown', (at + 1) % items.length], ['ArrowUp', (at + items.length - 1) % items.length],
    ['Home', 0], ['End', items.length - 1],
  ]);
  const target = targets.get(event.key);
  if (target !== undefined) items[target].focus();
  else if (event.key === 'Escape') close();
  else return;
  event.preventDefault();
  event.stopPropagation();
}
