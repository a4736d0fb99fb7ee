// The panels beside the picture, in the order of their buttons. A panel's module is loaded when it is first opened.

export const PANELS = [
  { id: 'chat', title: 'Chat', icon: 'chat', load: () => import('./chat/panel.js') },
  { id: 'files', title: 'Files', icon: 'files', load: () => import('./files/panel.js') },
  { id: 'clipboard', title: 'Clipboard', icon: 'clipboard', load: () => import('./clipboard/panel.js') },
  { id: 'commands', title: 'Commands', icon: 'commands', load: () => import('./commands/panel.js') },
  { id: 'diagnostics', title: 'Diagnostics', icon: 'diagnostics', width: 460, load: () => import('./diagnostics/panel.js') },
  { id: 'statistics', title: 'Statistics', icon: 'statistics', load: () => import('./statistics/panel.js') },
];
