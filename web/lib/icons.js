// SPDX-License-Identifier: GPL-3.0-or-later
import { el } from './dom.js';

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

export function icon(name, kind = '') {
  const svg = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
  svg.setAttribute('viewBox', '0 0 24 24');
  svg.setAttribute('aria-hidden', 'true');
  if (kind) svg.setAttribute('class', kind);
  const path = document.createElementNS('http://www.w3.org/2000/svg', 'path');
  path.setAttribute('d', ICONS[name]);
  svg.append(path);
  return svg;
}

export const iconButton = (name, label, listener, kind = '') =>
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
