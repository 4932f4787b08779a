// SPDX-License-Identifier: GPL-3.0-or-later
import { familyHex } from '../lib/colourFamilies.js';
import { byId, el } from '../lib/dom.js';
import { FILTERS } from '../lib/filters.js';
import { without } from '../lib/functions.js';
import { icon } from '../lib/icons.js';
import { go, state } from '../lib/navigation.js';

/** Shows a chip for each filter in use; a press removes the filter. */
export function drawChips(list, filters) {
  const chips = Object.entries(filters).map(([key, text]) => {
    const words = FILTERS[key].chip(text);
    return el(
      'li',
      {},
      el(
        'button',
        {
          type: 'button',
          class: 'chip',
          'data-filter': key,
          'aria-label': `Remove filter: ${words}`,
          on: { click: () => go({ filters: without(state.filters, key) }) },
        },
        key === 'color'
          ? el('i', { class: 'swatch', style: { '--colour': familyHex(text) } })
          : null,
        el('span', {}, words),
        icon('close'),
      ),
    );
  });
  if (chips.length > 1) {
    chips.push(
      el(
        'li',
        {},
        el(
          'button',
          {
            type: 'button',
            class: 'chip all',
            on: { click: () => go({ filters: {} }) },
          },
          'Clear all',
        ),
      ),
    );
  }
  list.replaceChildren(...chips);
  list.hidden = chips.length === 0;
}

/** The line beside the tools: `strong` stands out. */
export function setSummary(strong, text = '') {
  byId('summary').replaceChildren(el('strong', {}, strong), text ? ` ${text}` : '');
}
