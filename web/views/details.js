// SPDX-License-Identifier: GPL-3.0-or-later
import { familyName, familyOf } from '../lib/colourFamilies.js';
import { el } from '../lib/dom.js';
import {
  byteText,
  count,
  dateText,
  formatName,
  fullFormat,
  MEDIUM,
  placeOnEarth,
} from '../lib/texts.js';
import { filterLink, stateLink } from './links.js';

/** The whole record in rows; values that a filter exists for are links. */
export function details(item) {
  const { width, height } = item.dimensions ?? {};
  const { make = '', model = '' } = item.camera ?? {};
  const { name, city, country } = item.place ?? {};
  const hex = item.average_color?.hex;
  const camera = model.toLowerCase().startsWith(make.toLowerCase()) ? model : `${make} ${model}`;
  const around = [city, country].filter((part) => part && !name?.includes(part)).join(', ');
  const link = (filters, ...text) => filterLink(filters, {}, ...text);
  const rows = [
    ['Captured', dateText(fullFormat, item.capture_date)],
    [
      'Place',
      [
        name && el('span', {}, name),
        around && el('span', {}, around),
        country && link({ place: country }, `All of ${country}`),
      ],
    ],
    ['Camera', camera.trim() && (model ? link({ camera: model }, camera.trim()) : camera.trim())],
    [
      'Dimensions',
      width && height && `${count(width)} × ${count(height)}${megapixels(width, height)}`,
    ],
    [
      'File',
      [
        el('span', { class: 'breakable' }, item.original_filename ?? 'No name'),
        [
          MEDIUM[item.media_type] ?? item.media_type,
          item.extension && formatName(item.extension),
          item.size_bytes !== undefined && byteText(item.size_bytes),
        ]
          .filter(Boolean)
          .join('  ·  '),
      ],
    ],
    [
      'Colour',
      hex &&
        el(
          'span',
          { class: 'with-swatch' },
          el('i', { class: 'swatch', style: { '--colour': hex } }),
          hex,
          link({ color: familyOf(hex) }, `More ${familyName(familyOf(hex)).toLowerCase()}`),
        ),
    ],
    ['Labels', pills(item.ml_labels, 'label')],
    ['Albums', pills(item.tags, 'tag')],
    ['Marks', [item.favorite && link({ favorite: '1' }, 'Favourite'), item.edited && 'Edited']],
    ['Aesthetic', item.aesthetic_score !== undefined && item.aesthetic_score.toFixed(2)],
    [
      'Position',
      item.gps && [el('span', {}, placeOnEarth(item.gps.lat, item.gps.lon)), mapLink(item.gps)],
    ],
    ['Imported', dateText(fullFormat, item.processed_at)],
    ['In the archive', item.target_path && el('code', { class: 'breakable' }, item.target_path)],
    ['Identity', el('code', { class: 'breakable' }, item.id)],
  ];
  const list = el('dl');
  for (const [caption, value] of rows) {
    const parts = [value].flat().filter(Boolean);
    if (parts.length === 0) continue;
    list.append(
      el('dt', {}, caption),
      el(
        'dd',
        {},
        parts.map((part) => (typeof part === 'string' ? el('span', {}, part) : part)),
      ),
    );
  }
  return [el('h2', {}, 'Details'), list];
}

function megapixels(width, height) {
  const millions = (width * height) / 1e6;
  return millions < 0.1 ? '' : `  ·  ${millions.toFixed(millions < 10 ? 1 : 0)} MP`;
}

const pills = (names, key) =>
  names?.length > 0 &&
  el(
    'span',
    { class: 'pills' },
    names.map((name) => filterLink({ [key]: name }, { class: 'pill' }, name)),
  );

const mapLink = ({ lat, lon }) =>
  stateLink(
    { view: 'map', filters: {}, photo: null, at: null, camera: { lat, lon, zoom: 10 } },
    {},
    'Show on the map',
  );
