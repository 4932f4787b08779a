// SPDX-License-Identifier: GPL-3.0-or-later
//
// The gallery's page: one state, which the address holds (lib/navigation.js), one
// function that brings the screen in line with it (`show`), and views that know only
// their own part of the document. What comes from the catalog reaches the document as
// text, never as markup.
import { addressOf, VIEWS } from './lib/address.js';
import { byId } from './lib/dom.js';
import { hasFilters } from './lib/filters.js';
import { debounced } from './lib/functions.js';
import { icon } from './lib/icons.js';
import { listingFor, singlePhoto } from './lib/listings.js';
import { closePhoto, go, startNavigation, state } from './lib/navigation.js';
import { plural } from './lib/texts.js';
import { chooseNextTileSize, chosenTileSize, TILE_SIZES } from './lib/tileSizes.js';
import { drawChips, setSummary } from './views/bar.js';
import { Colours } from './views/colours.js';
import { FilterPanel } from './views/filterPanel.js';
import { Gallery } from './views/gallery.js';
import { Lightbox } from './views/lightbox.js';
import { PhotoMap } from './views/map.js';
import { Statistics } from './views/statistics.js';

let listing;
let gallery, colours, photoMap, statistics, filterPanel, lightbox;

export function startApplication() {
  listing = listingFor(state);
  gallery = new Gallery(byId('gallery'), (index, id) => go({ photo: id, at: index }));
  colours = new Colours(byId('colours'));
  photoMap = new PhotoMap(byId('map'));
  statistics = new Statistics(byId('statistics'));
  filterPanel = new FilterPanel(byId('filters'), byId('open-filters'), () => listing);
  lightbox = new Lightbox(byId('lightbox'), {
    onStep: (id, index) => go({ photo: id, at: index }, { replace: true }),
    onClose: closePhoto,
  });
  drawDensity();
  listen();
  watch(listing);
  startNavigation({ show, anchor: () => gallery.anchor() });
}

/** Brings the screen in line with a state, which is `old` itself at the start. */
function show(next, old, anchor) {
  const first = old === next;
  const sameList =
    !first && JSON.stringify([old.filters, old.sort]) === JSON.stringify([next.filters, next.sort]);
  if (!sameList && !first) {
    listing.close();
    listing = listingFor(next);
    watch(listing);
  }
  const sameView = !first && old.view === next.view;
  if (!sameView) showView(next.view);
  drawBar(next);
  if (next.view !== 'gallery' || !sameList || !sameView) {
    ({
      gallery: () => gallery.show(listing, anchor),
      colours: () => colours.show(next.filters),
      map: () => photoMap.show(next),
      statistics: () => statistics.show(),
    })[next.view]();
  }
  if (next.photo) showPhoto(next);
  else hidePhoto(old);
}

function showView(view) {
  for (const name of Object.keys(VIEWS)) byId(name).hidden = name !== view;
  for (const link of document.querySelectorAll('.views a')) {
    if (link.dataset.view === view) link.setAttribute('aria-current', 'page');
    else link.removeAttribute('aria-current');
  }
  document.body.dataset.view = view;
  byId('heading').textContent = VIEWS[view];
  document.title = view === 'gallery' ? 'Vaultmere' : `${VIEWS[view]} · Vaultmere`;
  if (view !== 'gallery') scrollTo(0, 0);
}

function drawBar({ view, filters, sort }) {
  drawChips(byId('chips'), view === 'statistics' ? {} : filters);
  const field = byId('search').elements.q;
  if (document.activeElement !== field || !filters.q) field.value = filters.q ?? '';
  byId('sort').value = sort;
  byId('sort-pick').hidden = view !== 'gallery' || Boolean(filters.area);
  byId('density').hidden = view !== 'gallery' && view !== 'colours';
  byId('open-filters').classList.toggle('used', hasFilters(filters));
  for (const link of document.querySelectorAll('.views a')) {
    link.href = addressOf({
      ...state,
      view: link.dataset.view,
      photo: null,
      at: null,
      camera: null,
    });
  }
  if (view === 'statistics') setSummary('Statistics', 'of the whole library');
  else if (view !== 'gallery') setSummary('');
  showTotal();
}

function showTotal() {
  const { total, error } = listing;
  const isGallery = state.view === 'gallery';
  const hasNone = total === 0 || (total === null && error !== null);
  byId('bar').classList.toggle('idle', isGallery && hasNone);
  if (!isGallery) return;
  const words = total === null ? '' : plural(total, 'photo');
  if (byId('summary').textContent !== words) setSummary(words);
}

function watch(list) {
  list.addEventListener('change', () => {
    if (list !== listing) return;
    showTotal();
    if (byId('filters').open) filterPanel.refresh();
  });
}

async function showPhoto({ view, photo, at }) {
  if (view === 'map' || view === 'colours') {
    const { listing: list } = view === 'map' ? photoMap : colours;
    await lightbox.show(list ?? singlePhoto(photo), photo, at);
  } else {
    await lightbox.show(listing, photo, at);
  }
}

function hidePhoto(old) {
  if (!lightbox.open) return;
  const { index } = lightbox;
  lightbox.close();
  if (old.photo && state.view === 'gallery') gallery.reveal(index);
}

/** Shows the chosen size of the tiles on its button. */
function drawDensity() {
  const key = chosenTileSize();
  const { name } = TILE_SIZES[key];
  const button = byId('density');
  button.replaceChildren(icon(key, 'full'));
  button.title = name;
  button.setAttribute('aria-label', `${name}, change`);
}

function listen() {
  document.addEventListener('click', (event) => {
    const link = event.target.closest('a[data-view]');
    if (!link || event.metaKey || event.ctrlKey || event.shiftKey) return;
    event.preventDefault();
    const home = link.classList.contains('brand');
    go({
      view: link.dataset.view,
      photo: null,
      at: null,
      camera: null,
      filters: home ? {} : state.filters,
      sort: home ? 'newest' : state.sort,
    });
    if (home) scrollTo(0, 0);
  });
  const form = byId('search');
  const search = (replace) => {
    const q = form.elements.q.value.trim();
    if (q === (state.filters.q ?? '')) return;
    const view = state.view === 'statistics' ? 'gallery' : state.view;
    go({ view, filters: { ...state.filters, q } }, { replace });
  };
  const searchSoon = debounced(350, () => search(Boolean(state.filters.q)));
  form.addEventListener('input', searchSoon);
  form.addEventListener('submit', (event) => {
    event.preventDefault();
    searchSoon.cancel();
    search(Boolean(state.filters.q));
    form.elements.q.blur();
  });
  byId('sort').addEventListener('change', (event) => go({ sort: event.target.value }));
  byId('density').addEventListener('click', () => {
    chooseNextTileSize();
    drawDensity();
    gallery.redraw();
    colours.redraw();
  });
  document.addEventListener('keydown', (event) => {
    if (event.key !== '/' || event.target.closest('input, select, dialog')) return;
    event.preventDefault();
    form.elements.q.focus();
  });
  document.addEventListener('visibilitychange', () => {
    if (!document.hidden && listing.total !== null) listing.lookAgain().catch(() => {});
  });
}
