// Light or dark: as the system says, unless the user has chosen. The style sheet follows
// `data-theme` and `data-night` of the root element; canvases ask isNight() and listen.

/** @typedef {'system' | 'light' | 'dark'} Theme */

const key = 'theme';
const systemIsDark = matchMedia('(prefers-color-scheme: dark)');
const changes = new EventTarget();

/** @returns {Theme} */
export function theme() {
  const stored = localStorage.getItem(key);
  return stored === 'light' || stored === 'dark' ? stored : 'system';
}

export function isNight() {
  return 'night' in document.documentElement.dataset;
}

/** @param {Theme} chosen */
export function setTheme(chosen) {
  if (chosen === 'system') localStorage.removeItem(key);
  else localStorage.setItem(key, chosen);
  applyTheme();
}

export function applyTheme() {
  const chosen = theme();
  const { dataset } = document.documentElement;
  if (chosen === 'system') delete dataset.theme;
  else dataset.theme = chosen;
  if (chosen === 'dark' || (chosen === 'system' && systemIsDark.matches)) dataset.night = '';
  else delete dataset.night;
  changes.dispatchEvent(new Event('change'));
}

/** @param {() => void} listener @param {AbortSignal} signal */
export function onThemeChange(listener, signal) {
  changes.addEventListener('change', listener, { signal });
}

systemIsDark.addEventListener('change', applyTheme);
