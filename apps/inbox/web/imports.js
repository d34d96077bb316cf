// Ink files from elsewhere: dropped anywhere on the window, or chosen. Each goes to the service as
// if a pen had sent it and comes back as ink that arrives.

import { importFile, messageOf } from './api.js';
import { el } from './dom.js';
import { plural } from './format.js';
import { notify, showList } from './notices.js';

const mostSentences = 2;

/** Lets files be dropped anywhere. */
export function acceptDrops() {
  const veil = el('div', { class: 'drop-veil', hidden: true }, el('div', { class: 'drop-sheet' }, 'Drop ink files to import them'));
  document.body.append(veil);
  /** @param {DragEvent} event */
  const bringsFiles = (event) => event.dataTransfer?.types.includes('Files') ?? false;
  addEventListener('dragenter', (event) => {
    if (bringsFiles(event)) veil.hidden = false;
  });
  addEventListener('dragover', (event) => {
    if (bringsFiles(event)) event.preventDefault();
  });
  addEventListener('dragleave', (event) => {
    // Towards no other element: out of the window, or given up.
    if (!event.relatedTarget) veil.hidden = true;
  });
  // Browsers don't always tell the end of a drag; but while there is one, no pointer moves.
  addEventListener('pointermove', () => { veil.hidden = true; });
  addEventListener('drop', (event) => {
    veil.hidden = true;
    if (!bringsFiles(event)) return;
    event.preventDefault();
    importFiles([...(event.dataTransfer?.files ?? [])]);
  });
}

/** Lets the user choose files. */
export function chooseFiles() {
  const field = el('input', { type: 'file', multiple: true, hidden: true, accept: '.stf2,.inkml,.xopp,.svg,.gz,.xml', 'aria-label': 'Ink files' });
  field.addEventListener('change', () => {
    importFiles([...(field.files ?? [])]);
    field.remove();
  });
  field.addEventListener('cancel', () => field.remove());
  document.body.append(field);
  field.click();
}

/**
 * Imports them one after the other, and tells of all in one notice.
 * @param {File[]} files
 */
export async function importFiles(files) {
  if (!files.length) return;
  let done = 0;
  const refused = [];
  const assumed = [];
  const progress = notify(`Importing ${files[0].name} …`, { stays: true });
  for (const [index, file] of files.entries()) {
    if (index) progress.update(`Importing ${file.name} (${index + 1} of ${files.length}) …`);
    try {
      const { told = [] } = await importFile(file);
      done++;
      if (told.length) assumed.push(`${file.name}: ${told.join('; ')}.`);
    } catch (error) {
      refused.push(`${file.name} was not imported. ${messageOf(error)}`);
    }
  }
  progress.close();
  tellOutcome(files, done, refused, assumed);
}

/**
 * A sentence for each, or a list to open where that would be many.
 * @param {File[]} files @param {number} done @param {string[]} refused @param {string[]} assumed
 */
function tellOutcome(files, done, refused, assumed) {
  const what = files.length === 1 ? files[0].name : plural(done, 'file');
  const summary = done ? `${what} ${done === 1 ? 'is' : 'are'} imported.` : '';
  const isError = refused.length > 0;
  if (refused.length + assumed.length <= mostSentences) {
    notify([...refused, summary, ...assumed].filter(Boolean).join('\n'), { isError });
    return;
  }
  const bad = refused.length <= mostSentences ? refused : [`${plural(refused.length, 'file')} were not imported.`];
  notify([...bad, summary].filter(Boolean).join('\n'), {
    isError, action: { name: 'Details', run: () => showList('Imported files', [...refused, ...assumed]) },
  });
}
