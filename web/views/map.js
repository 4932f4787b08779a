// SPDX-License-Identifier: GPL-3.0-or-later
import { queryText, readCamera } from '../lib/address.js';
import { boxAround, clustersOf, MAX_ZOOM, shortCount } from '../lib/clusters.js';
import { el } from '../lib/dom.js';
import { hasFilters } from '../lib/filters.js';
import { clamp, debounced, without } from '../lib/functions.js';
import { iconButton } from '../lib/icons.js';
import { IdList } from '../lib/listings.js';
import { MapCamera } from '../lib/mapCamera.js';
import { latitude, longitude, mercatorX, mercatorY } from '../lib/mercator.js';
import { errorMessage, loadingMessage, message } from '../lib/messages.js';
import { go, state } from '../lib/navigation.js';
import { PointerGestures } from '../lib/pointerGestures.js';
import { recordLookup } from '../lib/recordLookup.js';
import { askPoints, pointsWithin } from '../lib/server.js';
import { count, placeOnEarth, plural } from '../lib/texts.js';
import { darkScheme, reducedMotion } from '../lib/theme.js';
import { showThumb } from '../lib/thumbnails.js';
import { setSummary } from './bar.js';
import { WorldCanvas } from './worldCanvas.js';

const EQUATOR = 40_075_017; // metres

/** The photos under the filters by their place, on a map that the page draws itself. */
export class PhotoMap {
  #root;
  #canvas = el('canvas', { 'aria-hidden': 'true' });
  #world = new WorldCanvas(this.#canvas);
  #markers = el('div', { class: 'markers' });
  #surface = el('div', {
    class: 'ground',
    tabIndex: 0,
    role: 'group',
    'aria-label': 'World map. Arrow keys move it, plus and minus zoom.',
  });
  #scale = el('div', { class: 'scale', 'aria-hidden': 'true' });
  #strip = el('div', { class: 'strip', role: 'list', 'aria-label': 'Photos in view' });
  #toGallery = el('button', { type: 'button', class: 'main' });
  #tray = el('div', { class: 'tray' }, this.#strip, this.#toGallery);
  #body = el('div', { class: 'map-body' });
  #points = [];
  #key = null;
  #camera = new MapCamera({ x: 0.5, y: 0.4, zoom: 1 }, { width: 0, height: 0 });
  #clusters = new Map(); // zoom → clusters
  #shown = new Map(); // zoom and cell → marker
  #stripStops = [];
  #frame = 0;
  #flight = 0;
  #asked = null;
  #find = async () => null;
  listing = null;

  constructor(root) {
    this.#root = root;
    const zoom = (by) => this.#fly(this.#camera.with({ zoom: this.#camera.zoom + by }));
    this.#surface.append(
      this.#canvas,
      this.#markers,
      this.#scale,
      el(
        'div',
        { class: 'controls' },
        iconButton('plus', 'Zoom in', () => zoom(1)),
        iconButton('minus', 'Zoom out', () => zoom(-1)),
        iconButton('fit', 'Frame all photos', () =>
          this.#fly(MapCamera.around(this.#points, this.#size)),
        ),
      ),
    );
    this.#body.append(this.#surface, this.#tray);
    this.#toGallery.addEventListener('click', () => this.#openArea());
    this.#listen();
    new ResizeObserver(() => this.#drawSoon()).observe(this.#surface);
    darkScheme.addEventListener('change', () => this.#drawSoon());
  }

  async show({ filters, camera }, again = false) {
    const key = queryText(filters);
    const address = camera && [camera.lat, camera.lon, camera.zoom].join();
    const moved = address && address !== this.#asked;
    if (key === this.#key && !again) {
      if (moved) this.#lookAt(camera);
      this.#showSummary();
      this.#drawSoon();
      return;
    }
    this.#key = key;
    this.#root.replaceChildren(loadingMessage('Looking for places'));
    const loaded = this.#load(filters, camera);
    this.listing = new IdList(async () => {
      await loaded;
      return { ids: this.#inView(), find: this.#find };
    });
    try {
      await loaded;
    } catch (error) {
      if (key !== this.#key) return;
      this.#key = null;
      this.#root.replaceChildren(errorMessage(error, () => this.show(state, true)));
    }
  }

  async #load(filters, camera) {
    const points = await pointsWithin(filters);
    if (queryText(filters) !== this.#key) return;
    this.#find = recordLookup(askPoints, without(filters, 'area'));
    this.#take(points, camera);
  }

  #take(points, camera) {
    this.#points = points.map(({ id, lat, lon }) => ({
      id,
      lat,
      lon,
      x: mercatorX(lon),
      y: mercatorY(lat),
    }));
    this.#clusters.clear();
    for (const marker of this.#shown.values()) marker.stop();
    this.#shown.clear();
    this.#markers.replaceChildren();
    if (points.length === 0) {
      setSummary('No locations');
      this.listing = null;
      this.#root.replaceChildren(
        message(
          'No locations',
          hasFilters(state.filters)
            ? 'No photos that know their place match these filters.'
            : 'No photo knows where it was taken yet.',
        ),
      );
      return;
    }
    this.#root.replaceChildren(this.#body);
    if (camera) this.#lookAt(camera);
    else this.#camera = MapCamera.around(this.#points, this.#size);
    this.#listInView();
    this.#drawSoon();
    this.#rest();
  }

  #lookAt({ lat, lon, zoom }) {
    this.#asked = [lat, lon, zoom].join();
    this.#camera = new MapCamera({ x: mercatorX(lon), y: mercatorY(lat), zoom }, this.#size);
    this.#rest();
  }

  // --- The camera

  get #size() {
    return { width: this.#surface.clientWidth, height: this.#surface.clientHeight };
  }

  #move(camera) {
    cancelAnimationFrame(this.#flight);
    this.#camera = camera;
    this.#drawSoon();
    this.#rest();
  }

  #fly(goal) {
    const start = this.#camera,
      began = performance.now();
    if (reducedMotion.matches) {
      this.#move(goal);
      return;
    }
    cancelAnimationFrame(this.#flight);
    const step = (now) => {
      const time = clamp((now - began) / 280, 0, 1);
      this.#camera = start.towards(goal, 1 - (1 - time) ** 3);
      this.#draw();
      if (time < 1) this.#flight = requestAnimationFrame(step);
      else this.#rest();
    };
    this.#flight = requestAnimationFrame(step);
  }

  // --- Input

  #listen() {
    const zoomed = (steps, x, y) => {
      const box = this.#surface.getBoundingClientRect();
      return this.#camera.zoomedAt(steps, x - box.left, y - box.top);
    };
    new PointerGestures(
      this.#surface,
      {
        drag: ({ x, y }) => this.#move(this.#camera.movedBy(-x, -y)),
        zoom: (factor, x, y) => this.#move(zoomed(Math.log2(factor), x, y)),
        doubleTap: (x, y, target) => target.closest('button') || this.#fly(zoomed(1, x, y)),
      },
      { ignored: '.controls' },
    );
    this.#surface.addEventListener('keydown', (event) => this.#keyDown(event));
  }

  #keyDown(event) {
    if (event.altKey || event.ctrlKey || event.metaKey) return;
    const camera = this.#camera;
    const zoomed = (steps) => camera.with({ zoom: camera.zoom + steps });
    const next = {
      ArrowLeft: () => camera.movedBy(-90, 0),
      ArrowRight: () => camera.movedBy(90, 0),
      ArrowUp: () => camera.movedBy(0, -90),
      ArrowDown: () => camera.movedBy(0, 90),
      '+': () => zoomed(1),
      '=': () => zoomed(1),
      '-': () => zoomed(-1),
    }[event.key]?.();
    if (!next) return;
    event.preventDefault();
    if (event.key.startsWith('Arrow')) this.#move(next);
    else this.#fly(next);
  }

  // --- Drawing

  #drawSoon() {
    if (this.#root.hidden || this.#points.length === 0) return;
    this.#frame ||= requestAnimationFrame(() => {
      this.#frame = 0;
      this.#camera = this.#camera.resized(this.#size);
      this.#draw();
    });
  }

  #draw() {
    this.#world.draw(this.#camera);
    this.#drawMarkers();
    this.#drawScale();
  }

  #drawScale() {
    const metres = // per pixel
      (EQUATOR * Math.cos((latitude(this.#camera.y) * Math.PI) / 180)) / this.#camera.pixels;
    const max = metres * 110;
    const power = 10 ** Math.floor(Math.log10(max));
    const round = [5, 2, 1].map((n) => n * power).find((n) => n <= max);
    this.#scale.textContent = round >= 1000 ? `${count(round / 1000)} km` : `${count(round)} m`;
    this.#scale.style.width = `${round / metres}px`;
  }

  #drawMarkers() {
    const level = clamp(Math.floor(this.#camera.zoom), 0, MAX_ZOOM);
    let clusters = this.#clusters.get(level);
    if (!clusters) this.#clusters.set(level, (clusters = clustersOf(this.#points, level)));
    const view = this.#camera.view(40);
    const wanted = new Set();
    for (const cluster of clusters) {
      const { x, y } = cluster;
      if (x < view.left || x > view.right || y < view.top || y > view.bottom) continue;
      const key = `${level}/${cluster.key}`;
      wanted.add(key);
      let marker = this.#shown.get(key);
      if (!marker) {
        marker = this.#marker(cluster);
        this.#shown.set(key, marker);
        this.#markers.append(marker.button);
      }
      const px = (x - view.left) * this.#camera.pixels - 40,
        py = (y - view.top) * this.#camera.pixels - 40;
      marker.button.style.transform = `translate(${px}px, ${py}px) translate(-50%, -50%)`;
    }
    for (const [key, { button, stop }] of this.#shown) {
      if (wanted.has(key)) continue;
      stop();
      button.remove();
      this.#shown.delete(key);
    }
  }

  #marker(cluster) {
    const { members, x, y } = cluster;
    const picture = el('img', { alt: '', draggable: false });
    const near = `${placeOnEarth(latitude(y), longitude(x)).replace(/(\.\d)\d+/g, '$1')}`;
    const button = el(
      'button',
      {
        type: 'button',
        class: members.length > 1 ? 'marker many' : 'marker',
        'aria-label': `${plural(members.length, 'photo')} near ${near}`,
        on: { click: () => this.#openCluster(cluster) },
      },
      picture,
      members.length > 1 ? el('span', {}, shortCount(members.length)) : null,
    );
    return { button, stop: showThumb(picture, this.#points[members.at(-1)].id) };
  }

  /** Opens a photo, zooms to a cluster, or lists one that doesn't come apart. */
  #openCluster({ members }) {
    const points = members.map((index) => this.#points[index]);
    const { zoom } = this.#camera;
    if (points.length === 1) {
      this.#openPhoto(points[0].id);
      return;
    }
    const frame = MapCamera.around(points, this.#size);
    if (zoom >= MAX_ZOOM - 0.1 || clustersOf(points, MAX_ZOOM).length === 1) {
      this.#openArea(points);
    } else {
      this.#fly(frame.zoom <= zoom + 0.5 ? frame.with({ zoom: zoom + 1.5 }) : frame);
    }
  }

  #openPhoto(id) {
    go({ photo: id, at: Math.max(0, this.listing.indexOf(id)) });
  }

  /** The gallery of what is in view, or of some points. */
  #openArea(points = null) {
    const view = points ? boxAround(points) : this.#camera.view();
    const west = Math.max(-180, longitude(view.left)),
      east = Math.min(180, longitude(view.right));
    const south = latitude(view.bottom),
      north = latitude(view.top);
    const area = [west, south, east, north].map((degrees) => degrees.toFixed(5)).join(',');
    go({ view: 'gallery', filters: { ...state.filters, area } });
  }

  // --- What is in view

  #rest = debounced(220, () => {
    if (this.#root.hidden || this.#points.length === 0) return;
    const { x, y, zoom } = this.#camera;
    const camera = { lat: latitude(y), lon: longitude(x), zoom };
    if (state.photo === null) {
      go({ camera }, { replace: true, quiet: true });
      this.#asked = Object.values(
        readCamera(new URLSearchParams(location.search).get('centre') ?? '') ?? {},
      ).join();
      this.#listInView();
    }
  });

  #inView() {
    const { left, right, top, bottom } = this.#camera.view();
    return this.#points
      .filter(({ x, y }) => x >= left && x <= right && y >= top && y <= bottom)
      .map(({ id }) => id)
      .reverse();
  }

  #listInView() {
    const ids = this.#inView();
    this.listing = new IdList(async () => ({ ids, find: this.#find }));
    this.#showSummary();
    for (const stop of this.#stripStops.splice(0)) stop();
    this.#tray.hidden = ids.length === 0;
    this.#toGallery.textContent = `Show ${count(ids.length)} in the gallery`;
    this.#strip.replaceChildren(
      ...ids.slice(0, 40).map((id, index) => {
        const picture = el('img', { alt: '', draggable: false });
        this.#stripStops.push(showThumb(picture, id));
        return el(
          'div',
          { role: 'listitem' },
          el(
            'button',
            {
              type: 'button',
              'aria-label': `Photo ${index + 1} in view`,
              on: { click: () => this.#openPhoto(id) },
            },
            picture,
          ),
        );
      }),
    );
  }

  #showSummary() {
    if (this.#points.length === 0) return;
    const inView = this.listing?.total ?? this.#inView().length;
    setSummary(plural(this.#points.length, 'photo'), `with a place, ${count(inView)} in view`);
  }
}
