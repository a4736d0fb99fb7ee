// The commands that a host offers, in plain words.

// {id (on the wire), title, what (it does on the host), confirm? {question, action}, asksThere? (whether the person at
// the host may have to type a password)}
const OPEN = [
  {
    id: 'open-activity-monitor',
    title: 'Open the system monitor',
    what: 'Opens the list of running programs on the host’s screen.',
  },
  {
    id: 'open-terminal',
    title: 'Open a terminal',
    what: 'Opens a terminal window on the host’s screen.',
  },
  {
    id: 'reveal-downloads',
    title: 'Show the downloads',
    what: 'Opens the download folder in the host’s file manager.',
  },
];

const CHANGE = [
  {
    id: 'toggle-dark-mode',
    title: 'Switch dark mode',
    what: 'Switches the host’s desktop between light and dark.',
  },
  {
    id: 'show-hidden-files',
    title: 'Show hidden files',
    what: 'Names that begin with a dot appear in its file manager, on some desktops only in new windows.',
  },
  {
    id: 'hide-hidden-files',
    title: 'Hide hidden files',
    what: 'Names that begin with a dot are left out again.',
  },
];

const CLEAN = [
  {
    id: 'dns-flush',
    title: 'Clear the DNS cache',
    what: 'The host looks up the addresses of servers anew. The person there may be asked for a password.',
    asksThere: true,
  },
  {
    id: 'clear-chrome-cache',
    title: 'Clear the cache of Chrome',
    what: 'Closes Chrome and Chromium and deletes their cached files. Bookmarks and passwords stay.',
    confirm: {
      question: 'This closes Chrome and Chromium on the host at once. What is typed into their pages is lost.',
      action: 'Close and clear',
    },
  },
  {
    id: 'clear-safari-cache',
    title: 'Clear the cache of GNOME Web',
    what: 'Closes GNOME Web (Epiphany) and deletes its cached files. Bookmarks and passwords stay.',
    confirm: {
      question: 'This closes GNOME Web on the host at once. What is typed into its pages is lost.',
      action: 'Close and clear',
    },
  },
];

export const GROUPS = [
  { title: 'Open on the host', commands: OPEN },
  { title: 'Change the desktop', commands: CHANGE },
  { title: 'Clean up', commands: CLEAN },
];

export const COMMANDS = GROUPS.flatMap(({ commands }) => commands);
