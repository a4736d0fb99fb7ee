// A small graph of one or two series on a canvas, with its figures in words beside it.

import { make } from '../../shell/dom.js';
import { summaryOf } from './history.js';
import { scaleEnd } from './units.js';

const GRID_LINES = 2;

export class Graph {
  #series;
  #text;
  #least;
  #title;
  #canvas = make('canvas', 'graph-canvas');
  #now = make('span', 'graph-now');
  #range = make('p', 'graph-range');
  #drawn = null;

  // title: what the figures are; series: [{name (of the history), label?}], at most two; text(value): a figure in words;
  // least: the least end of the scale, so that small figures do not look like large ones.
  constructor({ title, series, text, least }) {
    this.#title = title;
    this.#series = series;
    this.#text = text;
    this.#least = least;
    this.element = make('div', 'graph');
    const head = make('div', 'graph-head');
    head.append(make('h4', '', title), this.#now);
    this.#canvas.setAttribute('role', 'img');
    this.element.append(head, this.#canvas, this.#range);
    // A canvas has no size of its own before it is laid out, and loses its content when that changes.
    new ResizeObserver(() => this.#draw()).observe(this.#canvas);
  }

  // Draws the last `seconds` of the history. `more` follows the newest figures.
  show(history, seconds, more = '') {
    const all = this.#series.map(({ name }) => history.values(name, seconds));
    const summaries = all.map(summaryOf);
    const describe = (tell) => summaries.map((summary, at) => {
      const { label } = this.#series[at];
      return `${label ? `${label} ` : ''}${tell(summary)}`;
    });
    const newest = describe((summary) => (summary === null || summary.now === null ? '–' : this.#text(summary.now)));
    const lines = all.length > 1 ? 'with-line' : '';
    this.#now.replaceChildren(...newest.map((text, at) => make('span', `graph-figure ${lines} series-${at}`, text)));
    if (more) this.#now.append(make('span', 'graph-more', more));
    const range = describe((summary) => {
      const [min, max] = summary ? [this.#text(summary.min), this.#text(summary.max)] : ['–', '–'];
      return min === max ? min : `${min} to ${max}`;
    });
    this.#range.textContent = range.join(' · ');
    const minutes = seconds === 60 ? 'last minute' : `last ${Math.round(seconds / 60)} minutes`;
    this.#canvas.setAttribute('aria-label', `${this.#title}, now ${newest.join(', ')}; ${minutes}: ${range.join(', ')}`);
    this.#drawn = { all, end: scaleEnd(Math.max(0, ...summaries.map((summary) => summary?.max ?? 0)), this.#least) };
    this.#draw();
  }

  #draw() {
    const ratio = window.devicePixelRatio || 1;
    const width = Math.round(this.#canvas.clientWidth * ratio);
    const height = Math.round(this.#canvas.clientHeight * ratio);
    if (!this.#drawn || width === 0 || height === 0) return;
    if (this.#canvas.width !== width || this.#canvas.height !== height) Object.assign(this.#canvas, { width, height });
    const style = getComputedStyle(this.#canvas);
    const colour = (name) => style.getPropertyValue(name).trim();
    const context = this.#canvas.getContext('2d');
    context.clearRect(0, 0, width, height);
    context.lineWidth = ratio;
    context.strokeStyle = colour('--line');
    context.setLineDash([]);
    for (let line = 0; line <= GRID_LINES; line++) {
      const y = Math.round((line / GRID_LINES) * (height - ratio)) + ratio / 2;
      context.beginPath();
      context.moveTo(0, y);
      context.lineTo(width, y);
      context.stroke();
    }
    this.#drawn.all.forEach((values, at) => {
      const place = (value, index) => [
        (index / (values.length - 1)) * width,
        height - ratio - Math.min(1, value / this.#drawn.end) * (height - 2 * ratio),
      ];
      context.strokeStyle = colour(at === 0 ? '--accent' : '--busy');
      context.fillStyle = context.strokeStyle;
      context.lineWidth = 1.5 * ratio;
      context.setLineDash(at === 0 ? [] : [4 * ratio, 3 * ratio]);
      for (const points of pieces(values, place)) drawPiece(context, points, { height, fill: at === 0, ratio });
    });
  }
}

// The parts of a series between its gaps, as points.
export function pieces(values, place) {
  const all = [];
  let current = null;
  values.forEach((value, index) => {
    if (Number.isNaN(value)) {
      current = null;
      return;
    }
    if (!current) all.push((current = []));
    current.push(place(value, index));
  });
  return all;
}

function drawPiece(context, points, { height, fill, ratio }) {
  if (points.length === 1) {
    const [x, y] = points[0];
    context.fillRect(x - ratio, y - ratio, 2 * ratio, 2 * ratio);
    return;
  }
  context.beginPath();
  for (const [x, y] of points) context.lineTo(x, y);
  context.stroke();
  if (!fill) return;
  context.lineTo(points.at(-1)[0], height);
  context.lineTo(points[0][0], height);
  context.globalAlpha = 0.14;
  context.fill();
  context.globalAlpha = 1;
}
