// Takes a report out of the page: copies, saves or prints it, or shows it in a wide window of the page.

import { copyText } from '../../shell/copy.js';
import { make, makeButton } from '../../shell/dom.js';
import { saveFile } from '../../shell/save.js';
import { fileName, reportJson, reportText, titleOf } from './text.js';
import { reportView } from './view.js';

// Buttons for a report. `current()` returns {kept, before}; say(text) tells what happened.
export function outputButtons(current, say) {
  const copy = async () =>
    say((await copyText(reportText(current().kept))) ? 'Copied.' : 'Not copied: your browser did not allow it.');
  const save = () => {
    const { kept } = current();
    saveFile(fileName(kept), 'application/json', reportJson(kept));
    say(`Saved as ${fileName(kept)}.`);
  };
  return [
    makeButton({ text: 'Copy', iconName: 'copy', className: 'small' }, copy),
    makeButton({ text: 'Save', iconName: 'save', className: 'small' }, save),
    makeButton({ text: 'Print', iconName: 'print', className: 'small' }, () => printReport(current())),
  ];
}

// Only the report is on paper: see the rules for "print".
export function printReport({ kept, before }) {
  document.querySelector('.print-report')?.remove();
  const paper = make('div', 'print-report');
  paper.append(make('h2', '', titleOf(kept)), reportView(kept, before));
  document.body.append(paper);
  document.documentElement.classList.add('printing-report');
  window.addEventListener(
    'afterprint',
    () => {
      paper.remove();
      if (!document.querySelector('.print-report')) document.documentElement.classList.remove('printing-report');
    },
    { once: true },
  );
  window.print();
}

export function openWide({ kept, before }, opener) {
  const dialog = make('dialog', 'dialog report-dialog');
  const head = make('div', 'report-dialog-head');
  const title = make('h2', '', titleOf(kept));
  title.id = 'report-dialog-title';
  dialog.setAttribute('aria-labelledby', title.id);
  const said = make('p', 'panel-note');
  said.setAttribute('role', 'status');
  const close = makeButton({ text: 'Close', iconName: 'close', iconOnly: true, className: 'quiet' }, () =>
    dialog.close(),
  );
  head.append(
    title,
    said,
    ...outputButtons(
      () => ({ kept, before }),
      (text) => (said.textContent = text),
    ),
    close,
  );
  const scroller = make('div', 'report-dialog-body');
  scroller.tabIndex = 0;
  scroller.setAttribute('role', 'region');
  scroller.setAttribute('aria-label', 'Report');
  scroller.append(reportView(kept, before));
  dialog.append(head, scroller);
  dialog.addEventListener('close', () => {
    dialog.remove();
    opener.focus();
  });
  document.body.append(dialog);
  dialog.showModal();
  scroller.focus();
}
