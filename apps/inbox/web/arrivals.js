// Ink that has arrived, said in one sentence for what came together.

import { pageName, plural } from './format.js';
import { say } from './notices.js';

/** @typedef {import('./api.js').Page} Page */
/** @typedef {Page & {new: boolean, strokes_from: number}} PageNews as the inbox tells it */

const togetherMs = 120;

export class Arrivals {
  /** @type {Map<number, PageNews>} */
  news = new Map();
  timer = 0;

  /** @param {(news: PageNews[]) => void} take is handed what came together */
  constructor(take) {
    this.take = take;
  }

  /** @param {PageNews} news */
  add(news) {
    const known = this.news.get(news.id);
    this.news.set(news.id, known ? { ...news, new: known.new || news.new, strokes_from: known.strokes_from || news.strokes_from } : news);
    this.timer ||= setTimeout(() => this.#tell(), togetherMs);
  }

  #tell() {
    this.timer = 0;
    const news = [...this.news.values()];
    this.news.clear();
    this.take(news);
    const inked = news.filter((page) => page.strokes_from);
    if (inked.length === 1) say(sentenceFor(inked[0]));
    else if (inked.length) say(`Ink arrived on ${plural(inked.length, 'page')}.`);
  }
}

/** @param {PageNews} page */
function sentenceFor(page) {
  if (page.new) return `Ink arrived on a new page: ${pageName(page)}, ${plural(page.strokes, 'stroke')}.`;
  return `Ink arrived on ${pageName(page)}; it has ${plural(page.strokes, 'stroke')} now.`;
}
