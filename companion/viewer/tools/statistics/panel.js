// The statistics panel: the host's load, its busiest processes, and the stream.

import { make, show } from '../../shell/dom.js';
import { Graph } from './graph.js';
import { ProcessList } from './processes.js';
import { bytesText, millisecondsText, percentText, rateText } from './units.js';

const RANGES = [[60, '1 minute'], [600, '10 minutes']];

const HOST_GRAPHS = [
  { title: 'Processor', series: [{ name: 'cpu' }], text: percentText, least: 100 },
  { title: 'Memory', series: [{ name: 'memory' }], text: percentText, least: 100, more: ({ sys }) => shareText(sys?.memUsedBytes, sys?.memTotalBytes) },
  { title: 'Network', series: [{ name: 'networkIn', label: 'in' }, { name: 'networkOut', label: 'out' }], text: rateText, least: 100 },
  { title: 'Disk', series: [{ name: 'disk' }], text: percentText, least: 100, more: ({ sys }) => shareText(sys?.disk?.usedBytes, sys?.disk?.totalBytes) },
];

const STREAM_GRAPHS = [
  { title: 'Bit rate', series: [{ name: 'rate' }], text: rateText, least: 100 },
  { title: 'Frames a second', series: [{ name: 'frames' }], text: (value) => String(Math.round(value)), least: 10 },
  { title: 'Round trip', series: [{ name: 'roundTrip' }], text: millisecondsText, least: 20 },
  { title: 'Wait before display', series: [{ name: 'delay' }], text: millisecondsText, least: 20 },
  { title: 'Time to decode a frame', series: [{ name: 'decode' }], text: millisecondsText, least: 10 },
  { title: 'Lost packets', series: [{ name: 'loss' }], text: percentText, least: 5 },
];

export function mount(body, app) {
  body.classList.add('statistics');
  const { statistics } = app;
  const state = make('p', 'panel-hint');
  state.id = 'statistics-state';
  state.setAttribute('role', 'status');
  let seconds = app.settings.get('statistics.seconds', RANGES[0][0], (value) => RANGES.some(([each]) => each === value));
  const range = rangeChooser(seconds, (chosen) => {
    seconds = chosen;
    app.settings.set('statistics.seconds', chosen);
    refresh();
  });
  const told = make('p', 'panel-note');
  told.setAttribute('role', 'status');
  const processes = new ProcessList(({ pid, name }) => {
    const sent = app.send({ type: 'open_activity_monitor', pid });
    told.textContent = sent ? `Asked the host to show ${name} in its process monitor.` : 'Not sent: the host is not connected.';
  });
  const graphs = [];
  const section = (title, id, definitions, ...more) => {
    const element = make('section', 'panel-section');
    const heading = make('h3', '', title);
    heading.id = id;
    element.setAttribute('aria-labelledby', id);
    element.append(heading);
    for (const definition of definitions) {
      const graph = new Graph(definition);
      graphs.push({ graph, definition });
      element.append(graph.element);
    }
    element.append(...more);
    return element;
  };
  const facts = make('p', 'panel-note');
  facts.id = 'stream-facts';
  const content = make('div', 'statistics-content');
  content.append(
    section('Host', 'statistics-host', HOST_GRAPHS),
    section('Busiest processes', 'statistics-processes', [], processes.element, told),
    section('Picture', 'statistics-stream', STREAM_GRAPHS, facts),
  );
  body.append(range, state, content);

  let visible = false;
  let everConnected = false;
  const refresh = () => {
    if (!visible || document.hidden) return;
    const { sys, figures, history } = statistics;
    const connected = Boolean(figures);
    everConnected ||= connected;
    state.textContent = connected ? '' : everConnected
      ? 'Not connected. The graphs continue as soon as the host is back.'
      : 'Waiting for the host: the figures appear here once it is connected.';
    show(state, !connected);
    show(content, everConnected);
    for (const { graph, definition } of graphs) {
      const unknown = definition.series.every(({ name }) => history.values(name, 600).every(Number.isNaN));
      // What this browser or this host does not report is left out.
      show(graph.element, !unknown);
      if (!unknown) graph.show(history, seconds, definition.more?.(statistics) ?? '');
    }
    processes.setAllowed(refusal(app));
    processes.show(sys?.top ?? []);
    facts.textContent = factsText(figures);
  };
  statistics.onSecond(refresh);
  app.on('control', refresh);
  document.addEventListener('visibilitychange', refresh);
  window.matchMedia('(prefers-color-scheme: dark)').addEventListener('change', refresh);
  return {
    shown() {
      visible = true;
      refresh();
    },
    hidden() {
      visible = false;
      told.textContent = '';
    },
  };
}

// Why the host would not open its process monitor; empty when it would.
function refusal(app) {
  if (!app.ready) return 'The host is not connected, so its process monitor cannot be opened.';
  const { state } = app.control;
  if (state === 'on' || state === 'off' || app.control.lastMessages.host_stats?.demo === true) return '';
  return 'Take control first: opening the host’s process monitor needs the PIN.';
}

function rangeChooser(seconds, onChoice) {
  const group = make('fieldset', 'panel-section range');
  group.append(make('legend', 'visually-hidden', 'Time shown'));
  for (const [value, text] of RANGES) {
    const label = make('label', 'range-choice');
    const input = make('input');
    input.type = 'radio';
    input.name = 'statistics-range';
    input.value = String(value);
    input.checked = value === seconds;
    input.addEventListener('change', () => onChoice(value));
    label.append(input, make('span', '', text));
    group.append(label);
  }
  return group;
}

function shareText(used, total) {
  return Number.isFinite(used) && total > 0 ? `${bytesText(used)} of ${bytesText(total)}` : '';
}

function factsText(figures) {
  if (!figures) return '';
  const parts = [];
  if (figures.width) parts.push(`${figures.width} × ${figures.height}`);
  if (figures.codec) parts.push(figures.codec);
  if (figures.jitterMs !== null) parts.push(`jitter ${millisecondsText(figures.jitterMs)}`);
  if (figures.freezes !== null) parts.push(figures.freezes === 1 ? '1 freeze' : `${figures.freezes} freezes`);
  return parts.join(' · ');
}
