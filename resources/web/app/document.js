// SPDX-License-Identifier: GPL-3.0-or-later

const byId = (id) => document.getElementById(id);

/**
 * An element. In `properties`, `class`, `role`, `for`, `aria-*` and `data-*` are
 * attributes, `style` holds CSS properties, `on` listeners, the rest are DOM
 * properties. Children are elements or texts; null and false are left out.
 */
function el(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (value === undefined || value === null) continue;
    if (name === 'on') {
      for (const [type, listener] of Object.entries(value))
        element.addEventListener(type, listener);
    } else if (name === 'style') {
      for (const [key, text] of Object.entries(value)) element.style.setProperty(key, text);
    } else if (/^(class|role|for|list|aria-.*|data-.*)$/.test(name)) {
      element.setAttribute(name, value);
    } else {
      element[name] = value;
    }
  }
  element.append(...children.flat().filter((child) => child !== null && child !== false));
  return element;
}

const ICONS = {
  close: 'M6 6l12 12M18 6L6 18',
  left: 'M14.5 5l-7 7 7 7',
  right: 'M9.5 5l7 7-7 7',
  info: 'M12 11v6M12 7.2v.1M12 3.5a8.5 8.5 0 1 0 0 17 8.5 8.5 0 0 0 0-17z',
  plus: 'M12 5v14M5 12h14',
  minus: 'M5 12h14',
  fit: 'M4 9V4h5M20 9V4h-5M4 15v5h5M20 15v5h-5',
  open: 'M14 4h6v6M20 4l-9 9M18 14v5.5H4.5V6H10',
  play: 'M8 5.5v13l11-6.5z',
  heart:
    'M12 20s-7.5-4.6-7.5-10.2A4.3 4.3 0 0 1 12 7.3a4.3 4.3 0 0 1 7.5 2.5C19.5 15.4 12 20 12 20z',
  live: 'M12 8.5a3.5 3.5 0 1 0 0 7 3.5 3.5 0 0 0 0-7zM12 4a8 8 0 1 0 0 16 8 8 0 0 0 0-16z',
  small:
    'M4 4h4v4H4zM10 4h4v4h-4zM16 4h4v4h-4zM4 10h4v4H4zM10 10h4v4h-4zM16 10h4v4h-4zM4 16h4v4H4zM10 16h4v4h-4zM16 16h4v4h-4z',
  medium: 'M4 4h7v7H4zM13 4h7v7h-7zM4 13h7v7H4zM13 13h7v7h-7z',
  large: 'M4 4h16v16H4z',
};

function icon(name, kind = '') {
  const svg = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
  svg.setAttribute('viewBox', '0 0 24 24');
  svg.setAttribute('aria-hidden', 'true');
  if (kind) svg.setAttribute('class', kind);
  const path = document.createElementNS('http://www.w3.org/2000/svg', 'path');
  path.setAttribute('d', ICONS[name]);
  svg.append(path);
  return svg;
}

const iconButton = (name, label, listener, kind = '') =>
  el(
    'button',
    {
      type: 'button',
      class: `icon ${kind}`,
      title: label,
      'aria-label': label,
      on: { click: listener },
    },
    icon(name),
  );

/** What stands where photos would: loading, nothing there, or an error, in words. */
function message(title, text, action, kind = '') {
  return el(
    'div',
    { class: `message ${kind}`, role: kind === 'error' ? 'alert' : null },
    el('h2', {}, title),
    text ? el('p', {}, text) : null,
    action
      ? el('button', { type: 'button', class: 'main', on: { click: action.run } }, action.name)
      : null,
  );
}

const loadingMessage = (text) => message(text, '', null, 'loading');

function errorMessage(error, again) {
  return message(
    error.title ?? 'Something went wrong',
    error.message,
    error.kind === 'locked'
      ? { name: 'Reload the page', run: () => location.reload() }
      : { name: 'Try again', run: again },
    'error',
  );
}

const stillness = matchMedia('(prefers-reduced-motion: reduce)');
const darkness = matchMedia('(prefers-color-scheme: dark)');
const colourOf = (name) =>
  getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();

/** What this browser remembers of the person's taste; nothing hangs on it. */
const taste = {
  read(key, fallback) {
    try {
      return localStorage.getItem(`vaultmere.${key}`) ?? fallback;
    } catch {
      return fallback;
    }
  },
  write(key, value) {
    try {
      localStorage.setItem(`vaultmere.${key}`, value);
    } catch {
      // A browser that keeps nothing shows the usual sizes next time.
    }
  },
};

/** A modal dialog is open or not: the page behind it stands still, in its place. */
function holdPage(held) {
  const root = document.documentElement;
  if (held) root.style.setProperty('--scrollbar', `${innerWidth - root.clientWidth}px`);
  root.classList.toggle('held', held);
}

const clamp = (value, low, high) => Math.min(Math.max(value, low), high);

/** The turn of a wheel in pixels; some browsers count it in lines. */
const wheelPixels = ({ deltaY, deltaMode }) => deltaY * (deltaMode === 1 ? 30 : 1);

/** Runs `action` once the calls have paused for `pause` milliseconds. */
function whenQuiet(pause, action) {
  let timer = 0;
  const call = (...values) => {
    clearTimeout(timer);
    timer = setTimeout(() => action(...values), pause);
  };
  call.cancel = () => clearTimeout(timer);
  return call;
}
