// The panel of commands: what can be run on the host, and what has been.

import { make, makeButton, show } from '../../shell/dom.js';
import { History } from './history.js';
import { GROUPS } from './list.js';
import { CommandRow } from './row.js';
import { CommandRuns } from './runs.js';

const ACCESS = {
  away: 'Not connected to the host. Commands can be run once the connection is back.',
  proving: 'The host is checking the PIN that was entered before.',
  locked: 'Commands need the PIN of the host. The person there can read it to you.',
};

export function mount(body, app) {
  body.classList.add('commands');
  const access = make('div', 'panel-section command-access');
  access.setAttribute('role', 'status');
  const why = make('p', '');
  const enterPin = makeButton({ text: 'Enter the PIN', className: 'primary' }, () => app.askForPin());
  access.append(why, enterPin);
  const said = make('p', 'visually-hidden');
  said.setAttribute('role', 'status');

  let unseen = 0;
  const rows = new Map();
  const history = new History();
  const runs = new CommandRuns(
    (message) => app.send(message),
    (run) => {
      rows.get(run.command.id).show(run);
      history.show(run, runs.runs);
      if (run.state === 'running') return;
      said.textContent = `${run.command.title}: ${run.words}`;
      if (app.dock.openPanel === 'commands') return;
      unseen += 1;
      app.dock.setBadge('commands', unseen, unseen === 1 ? '1 result' : `${unseen} results`);
    },
  );

  body.append(access, said);
  for (const { title, commands } of GROUPS) {
    const section = make('section', 'panel-section');
    const list = make('ul', 'command-list');
    for (const command of commands) {
      const row = new CommandRow(command, {
        run: () => runs.run(command),
        output: (run) => history.open(run),
        askForPin: () => app.askForPin(),
      });
      rows.set(command.id, row);
      list.append(row.element);
    }
    section.append(make('h3', '', title), list);
    body.append(section);
  }
  body.append(history.element);

  const refresh = () => {
    const locked = !isDemo(app) && (app.control.state === 'locked' || app.control.state === 'denied');
    const reason = !app.ready ? 'away' : !locked ? null : app.control.proving ? 'proving' : 'locked';
    show(access, Boolean(reason));
    show(enterPin, reason === 'locked');
    why.textContent = ACCESS[reason] ?? '';
    for (const row of rows.values()) row.setAccess({ allowed: !reason, locked });
  };
  app.on('message', (message) => {
    if (message.type === 'command_result') runs.receive(message);
    else if (message.type === 'host_stats' && demo !== isDemo(app)) {
      demo = isDemo(app);
      refresh();
    }
  });
  app.on('reliable', (open) => open || runs.lose());
  app.on('ready', refresh);
  app.on('control', refresh);
  let demo = isDemo(app);
  refresh();
  return {
    shown() {
      unseen = 0;
      app.dock.setBadge('commands', 0);
    },
  };
}

// A demonstration room needs no PIN.
function isDemo(app) {
  return app.control.lastMessages.host_stats?.demo === true;
}
