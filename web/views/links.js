// SPDX-License-Identifier: GPL-3.0-or-later
import { addressOf } from '../lib/address.js';
import { el } from '../lib/dom.js';
import { go, state } from '../lib/navigation.js';

/** A link into the gallery with nothing but these filters. */
export const filterLink = (filters, properties, ...children) =>
  stateLink({ view: 'gallery', filters, photo: null, at: null }, properties, ...children);

/** A link to the present state with a change, followed within the page. */
export function stateLink(change, properties, ...children) {
  return el(
    'a',
    {
      ...properties,
      href: addressOf({ ...state, ...change }),
      on: {
        click: (event) => {
          if (event.metaKey || event.ctrlKey || event.shiftKey) return;
          event.preventDefault();
          go(change);
        },
      },
    },
    ...children,
  );
}
