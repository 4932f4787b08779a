// SPDX-License-Identifier: GPL-3.0-or-later
import { el } from './dom.js';

/**
 * Whether the page is shown inside another site's page, which could then lay its own
 * buttons over it.
 */
export function isFramedByAnotherSite() {
  if (window.top === window) return false;
  try {
    return window.top.location.origin !== location.origin;
  } catch {
    return true; // another origin's location can't be read
  }
}

/** Shows where the page can be opened, in place of the page. */
export function refuseFrame() {
  document.body.replaceChildren(
    el(
      'div',
      { class: 'message' },
      el('h2', {}, 'This page doesn’t open inside another one'),
      el(
        'a',
        { class: 'main', href: location.href, target: '_blank', rel: 'noopener' },
        'Open the gallery by itself',
      ),
    ),
  );
}
