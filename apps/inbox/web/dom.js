// Elements in one line each. Text always becomes text: nothing here, or anywhere in the inbox,
// reads markup from a string, so titles and page addresses can say what they like.

/** @typedef {Node | string | null | undefined | false} Child */
/** @typedef {Record<string, string | number | boolean | null | undefined>} Attributes */

/**
 * Makes an element. An attribute that is true is set empty; false, null and undefined leave it out.
 * @template {keyof HTMLElementTagNameMap} Tag
 * @param {Tag} tag
 * @param {Attributes} [attributes]
 * @param {...Child} children
 * @returns {HTMLElementTagNameMap[Tag]}
 */
export function el(tag, attributes = {}, ...children) {
  const made = document.createElement(tag);
  setAttributes(made, attributes);
  for (const child of children) {
    if (child) made.append(child);
  }
  return made;
}

/**
 * Sets attributes as `el` does; those that are false, null or undefined are removed.
 * @param {Element} element
 * @param {Attributes} attributes
 */
export function setAttributes(element, attributes) {
  for (const [name, value] of Object.entries(attributes)) {
    if (value === false || value === null || value === undefined) element.removeAttribute(name);
    else element.setAttribute(name, value === true ? '' : String(value));
  }
}

const svgNamespace = 'http://www.w3.org/2000/svg';

/**
 * A symbol of icons.svg, hidden from screen readers: the button around it has the name.
 * @param {string} name
 * @returns {SVGSVGElement}
 */
export function icon(name) {
  const svg = document.createElementNS(svgNamespace, 'svg');
  setAttributes(svg, { class: 'icon', 'aria-hidden': 'true', focusable: 'false' });
  const use = document.createElementNS(svgNamespace, 'use');
  use.setAttribute('href', `/web/icons.svg#${name}`);
  svg.append(use);
  return svg;
}

/**
 * Shows another symbol.
 * @param {Element} holder an element with an icon in it
 * @param {string} name
 */
export function setIcon(holder, name) {
  holder.querySelector('use')?.setAttribute('href', `/web/icons.svg#${name}`);
}

/**
 * A button. With `quiet` its name is a tooltip and for screen readers alone.
 * @param {{icon?: string, name: string, quiet?: boolean, kind?: string}} look
 * @param {(event: MouseEvent) => void} onClick
 * @param {Attributes} [attributes]
 */
export function button(look, onClick, attributes = {}) {
  const made = el('button', {
    type: 'button',
    class: look.kind ?? (look.quiet ? 'button button-quiet' : 'button'),
    'aria-label': look.quiet && look.name,
    title: look.quiet && look.name,
    ...attributes,
  }, look.icon && icon(look.icon), !look.quiet && el('span', {}, look.name));
  made.addEventListener('click', onClick);
  return made;
}

/**
 * Gives a quiet button another name.
 * @param {HTMLElement} element
 * @param {string} name
 */
export function rename(element, name) {
  setAttributes(element, { 'aria-label': name, title: name });
}

/**
 * Whether the key event belongs to something that one types into.
 * @param {Event} event
 */
export function isTyping(event) {
  const target = event.target;
  return target instanceof HTMLElement &&
    (target.isContentEditable || target.matches('textarea, select, input:not([type=checkbox]):not([type=radio])'));
}

/** Whether people have asked their system for less motion. */
export function wantsLessMotion() {
  return matchMedia('(prefers-reduced-motion: reduce)').matches;
}
