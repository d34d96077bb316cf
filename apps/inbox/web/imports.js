// Ink files from elsewhere: dropped anywhere on the window, or chosen. Each goes to the service as
// if a pen had sent it and comes back as ink that arrives.

import { importFile, messageOf } from './api.js';
import { el } from './dom.js';
import { plural } from './format.js';
import { notify } from './notices.js';

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

/** @param {File[]} files */
export async function importFiles(files) {
  let done = 0;
  for (const file of files) {
    const notice = notify(`Importing ${file.name} …`, { stays: true });
    try {
      const { told = [] } = await importFile(file);
      done++;
      if (told.length) notify(`${file.name}: ${told.join('; ')}.`);
    } catch (error) {
      notify(`${file.name} was not imported. ${messageOf(error)}`, { isError: true });
    } finally {
      notice.close();
    }
  }
  if (done) notify(done === 1 ? `${files.length === 1 ? files[0].name : '1 file'} is imported.` : `${plural(done, 'file')} are imported.`);
}
