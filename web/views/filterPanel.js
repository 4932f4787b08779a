// SPDX-License-Identifier: GPL-3.0-or-later
import { familyName } from '../lib/colourFamilies.js';
import { el, holdPage } from '../lib/dom.js';
import { FILTERS } from '../lib/filters.js';
import { icon, iconButton } from '../lib/icons.js';
import { errorMessage, loadingMessage } from '../lib/messages.js';
import { go, state } from '../lib/navigation.js';
import { askStatistics } from '../lib/server.js';
import { count, formatName, mediaName, plural } from '../lib/texts.js';

/** The panel of all filters. A choice applies at once; the button below shows the total. */
export class FilterPanel {
  #dialog;
  #body = el('form', { class: 'fields' });
  #done = el('button', { type: 'button', class: 'main' });
  #pushed = false;
  #currentListing;

  /** currentListing() gives the gallery's listing, whose total the panel shows. */
  constructor(dialog, opener, currentListing) {
    this.#currentListing = currentListing;
    this.#dialog = dialog;
    const close = () => dialog.close();
    this.#done.addEventListener('click', () => {
      close();
      if (state.view === 'statistics') go({ view: 'gallery' });
    });
    dialog.append(
      el(
        'header',
        {},
        el('h2', { id: 'filters-title', tabIndex: -1, autofocus: true }, 'Filters'),
        el(
          'button',
          { type: 'button', class: 'link', on: { click: () => this.#set({}) } },
          'Clear all',
        ),
        iconButton('close', 'Close the filters', close),
      ),
      this.#body,
      el('footer', {}, this.#done),
    );
    opener.addEventListener('click', () => this.open());
    dialog.addEventListener('click', (event) => event.target === dialog && close());
    dialog.addEventListener('close', () => holdPage(false));
    this.#body.addEventListener('submit', (event) => event.preventDefault());
    this.#body.addEventListener('change', (event) => this.#changed(event.target));
  }

  async open() {
    this.#pushed = false;
    this.#body.replaceChildren(loadingMessage('Loading the choices'));
    this.refresh();
    holdPage(true);
    this.#dialog.showModal();
    await this.#fill();
  }

  /** After the filters or the total have changed. */
  refresh() {
    const listing = this.#currentListing();
    const { total } = listing;
    this.#done.textContent = total === null ? 'Show photos' : `Show ${plural(total, 'photo')}`;
    if (total === null) listing.want(0, 0, 'count');
    for (const field of this.#body.elements) {
      const value = this.#valueOf(field);
      if (field.type === 'checkbox' || field.type === 'radio') field.checked = value;
      else if (document.activeElement !== field || field.tagName === 'SELECT') field.value = value;
    }
  }

  #valueOf({ name, type, value }) {
    const { filters } = state;
    if (type === 'checkbox') return filters[name] === '1';
    if (type === 'radio') return (filters[name] ?? '') === value;
    if (name === 'camera' && filters.no_camera) return 'none';
    if (name === 'camera' && filters.camera) return `=${filters.camera}`;
    return filters[name] ?? '';
  }

  async #fill() {
    try {
      const facets = await askStatistics();
      this.#body.replaceChildren(...this.#fields(facets));
      this.refresh();
    } catch (error) {
      this.#body.replaceChildren(errorMessage(error, () => this.#fill()));
    }
  }

  #fields(facets) {
    const rows = (list, name = (id) => id) =>
      list.map(({ id, n }) => ({ value: id, text: name(id), n }));
    const cameras = [
      { value: 'none', text: 'No camera', n: facets.no_camera },
      ...facets.cameras.map(({ id, n }) => ({ value: `=${id}`, text: id, n })),
    ];
    return [
      this.#check('favorite', 'Favourites only', facets.totals.favorites),
      this.#select('year', 'Year', 'Any year', rows(facets.by_year).reverse()),
      el('div', { class: 'pair' }, this.#date('date_from', 'From'), this.#date('date_to', 'To')),
      this.#select('media_type', 'Media', 'All media', rows(facets.by_media, mediaName)),
      this.#select('ext', 'Format', 'All formats', rows(facets.by_format, formatName)),
      this.#colours(facets.colors),
      this.#select('size', 'File size', 'Any size', rows(facets.by_size)),
      this.#select('camera', 'Camera', 'All cameras', cameras),
      this.#select('place', 'Place', 'All places', rows(facets.top_places)),
      this.#select('tag', 'Album', 'All albums', rows(facets.top_albums)),
      this.#select('label', 'Label', 'All labels', rows(facets.top_labels)),
    ];
  }

  #select(name, title, none, rows) {
    const value = this.#valueOf({ name, type: 'select' });
    if (value && !rows.some((row) => row.value === value)) {
      rows = [{ value, text: FILTERS[name].chip(value.replace(/^=/, '')), n: null }, ...rows];
    }
    return el(
      'label',
      { class: 'field' },
      el('span', {}, title),
      el(
        'select',
        { name, 'aria-label': title, disabled: rows.length === 0 },
        el('option', { value: '' }, rows.length ? none : `${none}: none known`),
        rows.map(({ value: key, text, n }) =>
          el('option', { value: key }, n === null ? text : `${text}  (${count(n)})`),
        ),
      ),
    );
  }

  #date(name, title) {
    return el(
      'label',
      { class: 'field' },
      el('span', {}, title),
      el('input', { type: 'date', name, min: '1826-01-01', max: '9999-12-31' }),
    );
  }

  #check(name, title, n) {
    return el(
      'label',
      { class: 'check' },
      el('input', { type: 'checkbox', name }),
      icon('heart', 'full'),
      el('span', {}, title),
      el('small', {}, count(n)),
    );
  }

  #colours(rows) {
    const choice = (value, title, hex) =>
      el(
        'label',
        { class: 'colour', title },
        el('input', { type: 'radio', name: 'color', value, 'aria-label': title }),
        el('i', { class: hex ? 'swatch' : 'swatch none', style: { '--colour': hex } }),
      );
    return el(
      'fieldset',
      { class: 'field' },
      el('legend', {}, 'Colour'),
      el(
        'div',
        { class: 'colours' },
        choice('', 'Any colour', null),
        rows.map(({ name, hex, n }) => choice(name, `${familyName(name)}, ${count(n)}`, hex)),
      ),
    );
  }

  #changed({ name, type, value, checked, validity }) {
    if (!validity.valid) return;
    const filters = { ...state.filters };
    if (type === 'checkbox') value = checked ? '1' : '';
    if (name === 'camera') {
      filters.no_camera = value === 'none' ? '1' : '';
      value = value.startsWith('=') ? value.slice(1) : '';
    }
    if (name === 'year') filters.date_from = filters.date_to = '';
    filters[name] = value;
    this.#set(filters);
  }

  /** All choices while the panel is open are one entry of the history. */
  #set(filters) {
    go({ filters }, { replace: this.#pushed });
    this.#pushed = true;
    this.refresh();
  }
}
