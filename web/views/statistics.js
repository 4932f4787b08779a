// SPDX-License-Identifier: GPL-3.0-or-later
import { familyName } from '../lib/colourFamilies.js';
import { el } from '../lib/dom.js';
import { errorMessage, loadingMessage, message } from '../lib/messages.js';
import { go } from '../lib/navigation.js';
import { askStatistics, ServerError } from '../lib/server.js';
import { count, dateText, dayFormat, formatName, mediaName } from '../lib/texts.js';
import { darkScheme, reducedMotion, themeColour } from '../lib/theme.js';
import { filterLink } from './links.js';

/** Fetches the chart library at the first call; rejects when that fails. */
let chartLibrary = null;
function loadCharts() {
  chartLibrary ??= new Promise((resolve, reject) => {
    document.head.append(
      el('script', {
        src: `${location.origin}/vendor/chart.umd.min.js`,
        on: {
          load: () => resolve(window.Chart),
          error: () => {
            chartLibrary = null;
            reject(new ServerError('unreachable'));
          },
        },
      }),
    );
  });
  return chartLibrary;
}

/** Numbers and charts of the whole library. The rows of each chart are also a list of links. */
export class Statistics {
  #root;
  #charts = [];
  #facets = null;

  constructor(root) {
    this.#root = root;
    darkScheme.addEventListener('change', () => !root.hidden && this.#draw());
  }

  async show() {
    if (!this.#facets) this.#root.replaceChildren(loadingMessage('Counting'));
    try {
      const facets = await askStatistics();
      if (this.#root.hidden || facets === this.#facets) return;
      this.#facets = facets;
      await this.#draw();
    } catch (error) {
      this.#facets = null;
      this.#root.replaceChildren(errorMessage(error, () => this.show()));
    }
  }

  async #draw() {
    for (const chart of this.#charts.splice(0)) chart.destroy();
    const facets = this.#facets;
    if (facets.totals.total === 0) {
      this.#root.replaceChildren(
        message(
          'Nothing to count yet',
          'Statistics appear here as soon as there are photos in the archive.',
        ),
      );
      return;
    }
    const panels = this.#panels(facets).filter(({ rows }) => rows.length > 0);
    this.#root.replaceChildren(this.#cards(facets), ...this.#layout(panels));
    try {
      const Chart = await loadCharts();
      Chart.defaults.font.family = getComputedStyle(document.body).fontFamily;
      for (const panel of panels) this.#charts.push(this.#chart(Chart, panel));
    } catch {
      for (const panel of panels) {
        panel.canvas.parentElement.remove();
        panel.list.open = true;
      }
      this.#root.prepend(
        el('p', { class: 'quiet' }, 'The charts couldn’t be loaded; here are their numbers.'),
      );
    }
  }

  #layout(panels) {
    const drawn = panels.map((panel) => [panel, this.#panel(panel)]);
    const of = (wide) =>
      drawn.filter(([panel]) => Boolean(panel.wide) === wide).map(([, box]) => box);
    return [...of(true), el('div', { class: 'panels' }, of(false))];
  }

  #cards({ totals, last_import: last, avg_color: colour, by_year: years }) {
    const card = (value, caption, filters) => {
      const content = [el('strong', {}, value), el('span', {}, caption)];
      return filters
        ? filterLink(filters, { class: 'card' }, ...content)
        : el('div', { class: 'card' }, content);
    };
    const span = years.length > 1 ? `${years[0].id}–${years.at(-1).id}` : years[0]?.id;
    return el(
      'div',
      { class: 'cards' },
      card(count(totals.total), totals.total === 1 ? 'photo' : 'photos', {}),
      card(count(totals.favorites), totals.favorites === 1 ? 'favourite' : 'favourites', {
        favorite: '1',
      }),
      card(count(totals.edited), 'edited'),
      span ? card(span, years.length > 1 ? `${count(years.length)} years` : 'year') : null,
      last ? card(dateText(dayFormat, last), 'last import') : null,
      colour
        ? el(
            'div',
            { class: 'card' },
            el('strong', {}, el('i', { class: 'swatch large', style: { '--colour': colour } })),
            el('span', {}, `average colour ${colour}`),
          )
        : null,
    );
  }

  #panels(facets) {
    const rows = (list, key, name = (id) => id) =>
      list.map(({ id, n }) => ({ name: name(id), n, filters: { [key]: id } }));
    const cameras = rows(facets.cameras, 'camera');
    if (facets.no_camera > 0) {
      cameras.push({ name: 'No camera', n: facets.no_camera, filters: { no_camera: '1' } });
    }
    const { color, bw } = facets.color_split;
    const split =
      color + bw === 0
        ? []
        : [
            { name: 'Colour', n: color, colour: themeColour('accent') },
            { name: 'Black and white', n: bw, colour: themeColour('muted') },
          ];
    return [
      { title: 'Years', kind: 'columns', wide: true, rows: rows(facets.by_year, 'year') },
      { title: 'Media', kind: 'ring', rows: rows(facets.by_media, 'media_type', mediaName) },
      { title: 'Formats', kind: 'bars', rows: rows(facets.by_format, 'ext', formatName) },
      { title: 'File sizes', kind: 'bars', rows: rows(facets.by_size, 'size') },
      { title: 'Cameras', kind: 'bars', rows: cameras },
      { title: 'Places', kind: 'bars', rows: rows(facets.top_places, 'place') },
      { title: 'Albums', kind: 'bars', rows: rows(facets.top_albums, 'tag') },
      { title: 'Labels', kind: 'bars', rows: rows(facets.top_labels, 'label') },
      {
        title: 'Colours',
        kind: 'bars',
        rows: facets.colors.map(({ name, hex, n }) => ({
          name: familyName(name),
          n,
          colour: hex,
          filters: { color: name },
        })),
      },
      { title: 'Colour and black and white', kind: 'ring', rows: split },
    ];
  }

  #panel(panel) {
    const largest = Math.max(...panel.rows.map(({ n }) => n));
    panel.canvas = el('canvas', {
      role: 'img',
      'aria-label': `Chart: ${panel.title}. The largest is ${panel.rows.find(({ n }) => n === largest).name} with ${count(
        largest,
      )}. The list below has all numbers.`,
    });
    panel.list = el(
      'details',
      {},
      el('summary', {}, 'As a list'),
      el(
        'ul',
        {},
        panel.rows.map(({ name, n, filters }) =>
          el(
            'li',
            {},
            filters ? filterLink(filters, {}, name) : el('span', {}, name),
            el('span', {}, count(n)),
          ),
        ),
      ),
    );
    const height = panel.kind === 'bars' ? panel.rows.length * 27 + 34 : 240;
    return el(
      'section',
      { class: panel.wide ? 'panel wide' : 'panel' },
      el('h2', {}, panel.title),
      el('div', { class: 'chart', style: { height: `${height}px` } }, panel.canvas),
      panel.list,
    );
  }

  #chart(Chart, { kind, rows, canvas }) {
    const open = (index) =>
      rows[index]?.filters &&
      go({ view: 'gallery', filters: rows[index].filters, photo: null, at: null });
    const ring = kind === 'ring';
    const tones = [
      themeColour('accent'),
      themeColour('tone-2'),
      themeColour('tone-3'),
      themeColour('muted'),
    ];
    const value = {
      grid: { color: themeColour('line'), drawBorder: false },
      beginAtZero: true,
      ticks: { color: themeColour('muted'), precision: 0, maxTicksLimit: 5 },
    };
    const name = {
      grid: { display: false, drawBorder: false },
      ticks: {
        color: themeColour('ink'),
        autoSkip: kind !== 'bars',
        callback: (index) => shortened(rows[index].name, kind === 'bars' ? 22 : 14),
      },
    };
    return new Chart(canvas, {
      type: ring ? 'doughnut' : 'bar',
      data: {
        labels: rows.map((row) => row.name),
        datasets: [
          {
            data: rows.map(({ n }) => n),
            backgroundColor: rows.map(
              ({ colour }, i) => colour ?? (ring ? tones[i % tones.length] : themeColour('accent')),
            ),
            borderColor: ring ? themeColour('surface') : themeColour('line'),
            borderWidth: ring ? 2 : rows.some(({ colour }) => colour) ? 1 : 0,
            borderRadius: ring ? 0 : 4,
            maxBarThickness: kind === 'bars' ? 15 : 44,
          },
        ],
      },
      options: {
        indexAxis: kind === 'bars' ? 'y' : 'x',
        maintainAspectRatio: false,
        animation: reducedMotion.matches ? false : { duration: 300 },
        cutout: '62%',
        scales: ring ? {} : kind === 'bars' ? { x: value, y: name } : { x: name, y: value },
        plugins: {
          legend: {
            display: ring,
            position: 'right',
            labels: { color: themeColour('ink'), boxWidth: 12, boxHeight: 12, padding: 14 },
          },
          tooltip: { callbacks: { label: ({ dataIndex }) => ` ${count(rows[dataIndex].n)}` } },
        },
        onClick: (_, [hit]) => hit && open(hit.index),
        onHover: ({ native }, [hit]) => {
          native.target.style.cursor = hit && rows[hit.index].filters ? 'pointer' : '';
        },
      },
    });
  }
}

function shortened(text, length) {
  const letters = [...text];
  return letters.length > length ? `${letters.slice(0, length - 1).join('')}…` : text;
}
