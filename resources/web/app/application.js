// SPDX-License-Identifier: GPL-3.0-or-later
//
// The gallery's page. One state, which the address holds (state.js), one function
// that brings the screen in line with it (`apply`), and views that know only their own
// piece of the document. Whatever comes from the catalog reaches the document as text,
// never as markup.
//
// The files of this folder are sections of one script, app.js: build.cmake joins them
// in its order, this one last, so that they share one scope.

let state = readAddress(location.search);
let listing = listingFor(state);

const gallery = new Gallery(byId('gallery'), (index, id) => go({ photo: id, at: index }));
const colours = new Colours(byId('colours'));
const photoMap = new PhotoMap(byId('map'));
const statistics = new Statistics(byId('statistics'));
const filterPanel = new FilterPanel(byId('filters'), byId('open-filters'));
const lightbox = new Lightbox(byId('lightbox'), {
  onStep: (id, index) => go({ photo: id, at: index }, { replace: true }),
  onClose: closePhoto,
});

/**
 * Goes to another state: `change` over the present one. `replace` writes over the
 * present entry of the history; `quiet` only notes the address.
 */
function go(change, { replace = false, quiet = false } = {}) {
  const next = { ...state, ...change, filters: tidyFilters(change.filters ?? state.filters) };
  const address = addressOf(next);
  if (!replace && address === addressOf(state)) return;
  const mark = { inside: replace ? (history.state?.inside ?? false) : true };
  if (replace) {
    history.replaceState({ ...history.state, ...mark }, '', address);
  } else {
    rememberAnchor();
    history.pushState(mark, '', address);
  }
  if (quiet) state = next;
  else apply(next, null);
}

/** Notes in the history what stands at the top, so that going back returns to it. */
function rememberAnchor() {
  if (state.view !== 'gallery') return;
  const anchor = gallery.anchor();
  if (JSON.stringify(anchor) === JSON.stringify(history.state?.anchor ?? null)) return;
  history.replaceState({ ...history.state, anchor }, '');
}

function closePhoto() {
  if (history.state?.inside) history.back();
  else go({ photo: null, at: null }, { replace: true });
}

/** Brings the screen in line with a state. */
function apply(next, anchor) {
  const old = state;
  state = next;
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
  tellTotal();
}

function setSummary(strong, text = '') {
  byId('summary').replaceChildren(el('strong', {}, strong), text ? ` ${text}` : '');
}

function tellTotal() {
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
    tellTotal();
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

/** The size of the tiles: small, medium, large, and round again. */
function drawDensity() {
  const density = taste.read('density', 'medium');
  const button = byId('density');
  const known = DENSITIES[density] ? density : 'medium';
  button.replaceChildren(icon(known, 'full'));
  button.title = DENSITIES[known].name;
  button.setAttribute('aria-label', `${DENSITIES[known].name}, change`);
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
  const typed = whenQuiet(350, () => search(Boolean(state.filters.q)));
  form.addEventListener('input', typed);
  form.addEventListener('submit', (event) => {
    event.preventDefault();
    typed.cancel();
    search(Boolean(state.filters.q));
    form.elements.q.blur();
  });
  byId('sort').addEventListener('change', (event) => go({ sort: event.target.value }));
  byId('density').addEventListener('click', () => {
    const names = Object.keys(DENSITIES);
    const at = names.indexOf(taste.read('density', 'medium'));
    taste.write('density', names[(at + 1) % names.length]);
    drawDensity();
    gallery.redraw();
    colours.redraw();
  });
  addEventListener('popstate', (event) =>
    apply(readAddress(location.search), event.state?.anchor ?? null),
  );
  document.addEventListener('keydown', (event) => {
    if (event.key !== '/' || event.target.closest('input, select, dialog')) return;
    event.preventDefault();
    form.elements.q.focus();
  });
  document.addEventListener('visibilitychange', () => {
    if (!document.hidden && listing.total !== null) listing.lookAgain().catch(() => {});
  });
}

history.scrollRestoration = 'manual';
drawDensity();
listen();
watch(listing);
apply(state, history.state?.anchor ?? null);
