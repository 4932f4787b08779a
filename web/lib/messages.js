// SPDX-License-Identifier: GPL-3.0-or-later
import { el } from './dom.js';

/** A message in place of photos: loading, nothing found, or an error. */
export function message(title, text, action, kind = '') {
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

export const loadingMessage = (text) => message(text, '', null, 'loading');

export function errorMessage(error, again) {
  return message(
    error.title ?? 'Something went wrong',
    error.message,
    error.kind === 'locked'
      ? { name: 'Reload the page', run: () => location.reload() }
      : { name: 'Try again', run: again },
    'error',
  );
}
