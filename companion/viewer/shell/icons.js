// The page's icons: lines on a grid of 20 by 20.

const PATHS = {
  chat: 'M3 4.5h14v9H9L5 17v-3.5H3z',
  files: 'M3 5h5l1.5 2H17v8.5H3z',
  clipboard: 'M5 4.5h10V17H5zM7.5 3h5v3h-5z',
  commands: 'm4 6 4 4-4 4M10 14.5h6',
  diagnostics: 'M2.5 10.5h3.6l2-5.5 3.4 10.5 2.2-5h3.8',
  statistics: 'M3.5 16.5v-5M8 16.5V8M12.5 16.5v-6M17 16.5V4',
  picture: 'M2.5 4h15v10h-15zM7 17h6',
  keyboard: 'M2.5 5.5h15v9h-15zM5.5 8.5h0M8.5 8.5h0M11.5 8.5h0M14.5 8.5h0M7 11.8h6',
  keys: 'M2.5 3.5h15v8h-15zM5.5 6.3h0M8.5 6.3h0M11.5 6.3h0M14.5 6.3h0M7 9h6m-5.5 5.5L10 17l2.5-2.5',
  view: 'M2.5 4h15v12h-15zM6 7.5v5M6 10h8M14 7.5v5',
  fullscreen: 'M3 7.5V3h4.5M12.5 3H17v4.5M17 12.5V17h-4.5M7.5 17H3v-4.5',
  pointer: 'M4 2.5 16.5 9l-5.3 1.6L8.6 16z',
  record: 'M10 5a5 5 0 1 0 0 10 5 5 0 0 0 0-10z',
  stop: 'M5.5 5.5h9v9h-9z',
  close: 'm5 5 10 10M15 5 5 15',
  display: 'M2.5 4h15v10h-15zM7 17h6',
  refresh: 'M15.8 8A6.2 6.2 0 1 0 16 11.5M16.2 3.5V8h-4.5',
  copy: 'M7 7h9.5v9.5H7zM4 13V3.5h9.5',
  save: 'M10 3v9M6.2 8.5 10 12.3l3.8-3.8M3.5 16.5h13',
  send: 'M10 12.5v-9M6.2 7.2 10 3.4l3.8 3.8M3.5 16.5h13',
  print: 'M5.5 8V3h9v5M5.5 14H3V8h14v6h-2.5M5.5 12h9v5h-9z',
  warning: 'M10 3 18 16.5H2zM10 8v4M10 14.3h0',
  check: 'm4 10.5 4 4 8-9',
  down: 'm6 8 4 4 4-4',
  more: 'M5 10h0M10 10h0M15 10h0',
  plus: 'M10 4v12M4 10h12',
  minus: 'M4 10h12',
  edit: 'M4 16l.8-3.4L13.4 4 16 6.6l-8.6 8.6z',
  home: 'M3 9.5 10 3.5l7 6M5 8.5v8h10v-8',
  bell: 'M5 14V9a5 5 0 0 1 10 0v5l1.5 1.5h-13zM8.5 17h3',
};

const SVG = 'http://www.w3.org/2000/svg';

// A new <svg> element; it has no name of its own, so what contains it needs one.
export function icon(name) {
  const svg = document.createElementNS(SVG, 'svg');
  svg.setAttribute('viewBox', '0 0 20 20');
  svg.setAttribute('aria-hidden', 'true');
  const path = document.createElementNS(SVG, 'path');
  path.setAttribute('d', PATHS[name]);
  svg.append(path);
  return svg;
}

// Puts an icon in front of the content of each element that names one in data-icon.
export function addIcons(root = document) {
  for (const element of root.querySelectorAll('[data-icon]')) element.prepend(icon(element.dataset.icon));
}
