// The panel of diagnostics: a report of the host's state, as a readable page.

import { make, makeButton, show } from '../../shell/dom.js';
import { openWide, outputButtons } from './output.js';
import { Reports } from './reports.js';
import { ageText } from './text.js';
import { clock, reportView } from './view.js';

const AGE_PERIOD_MS = 20000;
const MAX_NAME = 64;

const ABOUT =
  'Looks at the host’s disk, network, updates, security, crashes, temperature and programs, and says what is ' +
  'wrong. It takes some seconds and changes nothing on the host.';
const AWAY = 'Not connected to the host. A report can be made once the connection is back.';
const BUSY = 'The host is being looked at. This takes some seconds, on a slow network up to ten.';
const PROBLEMS = {
  full:
    'The host has not answered eight requests and takes no more. A report that still comes is shown here; ' +
    'otherwise reload this page to connect anew.',
  silent: 'The host has not sent a report within 45 seconds. It may be very busy; try again.',
  lost: 'The connection ended before the report came. Run it again.',
  unreadable: 'The host has sent a report that cannot be read. Run it again.',
};

export function mount(body, app) {
  body.classList.add('diagnostics');
  const top = make('div', 'panel-section report-top');
  const run = makeButton({ text: 'Run', className: 'primary' }, () => reports.run());
  run.dataset.focusFirst = '';
  const choice = make('select', 'report-choice');
  choice.setAttribute('aria-label', 'Report');
  const row = make('div', 'panel-row');
  row.append(run, choice);
  const spinner = make('span', 'spinner');
  spinner.setAttribute('aria-hidden', 'true');
  const words = make('p', 'panel-note');
  const state = make('div', 'report-state');
  state.setAttribute('role', 'status');
  state.append(spinner, words);
  const about = make('p', 'panel-hint', ABOUT);
  const meta = make('p', 'panel-note report-meta');
  const said = make('p', 'panel-note');
  said.setAttribute('role', 'status');
  const wide = makeButton({ text: 'Enlarge', iconName: 'view', className: 'small' }, () => openWide(current(), wide));
  const actions = make('div', 'panel-row report-actions');
  const page = make('div', 'report-place');
  top.append(row, state, meta, actions, said);
  body.append(top, about, page);

  let shown = null;
  let timer = 0;
  const current = () => ({ kept: shown, before: reports.before(shown) });
  actions.append(wide, ...outputButtons(current, (text) => (said.textContent = text)));

  const showReport = (kept) => {
    shown = kept;
    said.textContent = '';
    page.replaceChildren(reportView(kept, reports.before(kept)));
  };
  const refresh = () => {
    const { waiting, problem } = reports;
    run.disabled = !app.ready;
    run.setAttribute('aria-disabled', String(waiting));
    run.classList.toggle('busy', waiting);
    run.querySelector('span').textContent = reports.reports.length > 0 ? 'Run again' : 'Run';
    const text = waiting ? BUSY : (PROBLEMS[problem] ?? (app.ready ? '' : AWAY));
    show(spinner, waiting);
    show(state, Boolean(text));
    words.textContent = text;
    words.classList.toggle('bad', !waiting && Boolean(problem));
    show(about, !shown);
    for (const element of [meta, actions]) show(element, Boolean(shown));
    show(choice, reports.reports.length > 1);
    choice.replaceChildren(
      ...reports.reports.map((kept) => {
        const option = make('option', '', `Report of ${clock(kept.at)}`);
        option.value = String(kept.number);
        return option;
      }),
    );
    if (!shown) return;
    choice.value = String(shown.number);
    showAge();
  };
  const showAge = () => {
    if (!shown) return;
    const { host, room, at, seconds } = shown;
    const took = `It took ${Math.max(1, Math.round(seconds))} s.`;
    meta.textContent = `${host || room}, ${clock(at)} (${ageText(Date.now() - at)}). ${took}`;
  };

  const reports = new Reports(
    (message) => app.send(message),
    (added) => {
      if (added) {
        showReport(added);
        if (app.dock.openPanel !== 'diagnostics') app.dock.setBadge('diagnostics', 1, 'new report');
      }
      refresh();
    },
  );
  choice.addEventListener('change', () => {
    showReport(reports.reports.find(({ number }) => String(number) === choice.value));
    refresh();
  });
  app.on('message', (message) => {
    if (message.type === 'diagnostics_result') reports.receive(message, { host: hostName(app), room: app.room });
  });
  app.on('reliable', (open) => open || reports.lose());
  app.on('ready', refresh);
  refresh();
  return {
    shown() {
      app.dock.setBadge('diagnostics', 0);
      showAge();
      clearInterval(timer);
      timer = setInterval(showAge, AGE_PERIOD_MS);
    },
    hidden() {
      clearInterval(timer);
    },
  };
}

function hostName(app) {
  const name = app.control.lastMessages.host_stats?.hostName;
  return typeof name === 'string' ? name.slice(0, MAX_NAME) : '';
}
