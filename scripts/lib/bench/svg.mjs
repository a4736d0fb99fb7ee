// Drawing plots as SVG that can be read on light and dark backgrounds.

/// Colours by name of a system, for light and dark backgrounds; told apart by people who see few colours, too.
const colours = {
  h264: ['#1f6fd0', '#5aa2f5'], vp8: ['#0f8a6c', '#37c9a1'], vp9: ['#8a5a00', '#d9a441'], av1: ['#b3318c', '#ee79cc'],
  x0vncserver: ['#c2410c', '#fb8a4c'], x11vnc: ['#7a7a7a', '#b5b5b5'], gstreamer: ['#5b4bc4', '#a99bff'],
  stage0: ['#1f6fd0', '#5aa2f5'], stage1: ['#9dbbe0', '#36557c'], stage2: ['#c2410c', '#fb8a4c'], stage3: ['#e0b400', '#ffd84d'],
  stage4: ['#0f8a6c', '#37c9a1'], stage5: ['#b3318c', '#ee79cc'], stage6: ['#8f8f8f', '#a0a0a0'],
};

const style = () => {
  const of = (index) => Object.entries(colours).map(([name, pair]) => `--${name}:${pair[index]}`).join(';');
  return `<style>svg{--ink:#1b1b1b;--soft:#5c5c5c;--line:#d9d9d9;--ground:#ffffff;${of(0)}}
@media(prefers-color-scheme:dark){svg{--ink:#ececec;--soft:#a8a8a8;--line:#3b3b3b;--ground:#17181a;${of(1)}}}
text{font:12px system-ui,sans-serif;fill:var(--ink)}.soft{fill:var(--soft)}.title{font-size:15px;font-weight:600}
.grid{stroke:var(--line);stroke-width:1}</style>`;
};

export const escaped = (text) => String(text).replace(/[&<>"]/g, (each) => `&#${each.charCodeAt(0)};`);

export function text(x, y, value, { anchor = 'start', kind = '' } = {}) {
  return `<text x="${x.toFixed(1)}" y="${y.toFixed(1)}" text-anchor="${anchor}" class="${kind}">${escaped(value)}</text>`;
}

export function line(x1, y1, x2, y2, attributes = 'class="grid"') {
  return `<line x1="${x1.toFixed(1)}" y1="${y1.toFixed(1)}" x2="${x2.toFixed(1)}" y2="${y2.toFixed(1)}" ${attributes}/>`;
}

export function rect(x, y, width, height, colour, more = '') {
  return `<rect x="${x.toFixed(1)}" y="${y.toFixed(1)}" width="${Math.max(0, width).toFixed(1)}" height="${height}" fill="var(--${colour})" ${more}/>`;
}

export function path(points, colour) {
  if (points.length === 0) return '';
  const way = points.map(([x, y], index) => `${index ? 'L' : 'M'}${x.toFixed(1)} ${y.toFixed(1)}`).join('');
  return `<path d="${way}" fill="none" stroke="var(--${colour})" stroke-width="2" stroke-linejoin="round"/>`;
}

/// A function from [from, to] to [low, high].
export function linear(from, to, low, high) {
  return (value) => low + ((value - from) / (to - from)) * (high - low);
}

/// The same for logarithms; values below `from` count as it.
export function logarithmic(from, to, low, high) {
  const scale = linear(Math.log(from), Math.log(to), low, high);
  return (value) => scale(Math.log(Math.max(from, value)));
}

/// A line of coloured squares with names: [[colour, name], ...].
export function legend(x, y, entries) {
  let at = x;
  return entries.map(([colour, name]) => {
    const entry = rect(at, y - 10, 12, 12, colour, 'rx="2"') + text(at + 17, y, name);
    at += 32 + 6.8 * name.length;
    return entry;
  }).join('');
}

/// Axes of a panel with horizontal lines at the ticks of y: [[value, label], ...].
export function panel({ x, y, width, height, title, xTicks, yTicks, toX, toY }) {
  const lines = yTicks.map(([value, label]) => line(x, toY(value), x + width, toY(value)) + text(x - 6, toY(value) + 4, label, { anchor: 'end', kind: 'soft' }));
  const marks = xTicks.map(([value, label]) => text(toX(value), y + height + 16, label, { anchor: 'middle', kind: 'soft' }));
  return text(x, y - 8, title) + lines.join('') + marks.join('');
}

export function drawing(width, height, title, content) {
  return `<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 ${width} ${height}" width="${width}" height="${height}" role="img">
<title>${escaped(title)}</title>${style()}<rect width="${width}" height="${height}" fill="var(--ground)"/>
${text(16, 26, title, { kind: 'title' })}${content}</svg>\n`;
}
