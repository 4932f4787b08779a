// SPDX-License-Identifier: GPL-3.0-or-later

const MARGIN = 50;

/** The points of the filter on a map that the page draws itself. */
class PhotoMap {
  #root;
  #canvas = el('canvas', { 'aria-hidden': 'true' });
  #earth = new Earth(this.#canvas);
  #markers = el('div', { class: 'markers' });
  #ground = el('div', {
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
  #camera = { x: 0.5, y: 0.4, zoom: 1 };
  #clusters = new Map(); // zoom → clusters
  #shown = new Map(); // zoom and cell → marker
  #stripStops = [];
  #frame = 0;
  #flight = 0;
  #fingers = new Map();
  #spread = null;
  #asked = null;
  #find = async () => null;
  listing = null;

  constructor(root) {
    this.#root = root;
    const zoom = (by) => this.#fly({ ...this.#camera, zoom: this.#camera.zoom + by });
    this.#ground.append(
      this.#canvas,
      this.#markers,
      this.#scale,
      el(
        'div',
        { class: 'controls' },
        iconButton('plus', 'Zoom in', () => zoom(1)),
        iconButton('minus', 'Zoom out', () => zoom(-1)),
        iconButton('fit', 'Frame all photos', () => this.#fly(this.#frameOf(this.#points))),
      ),
    );
    this.#body.append(this.#ground, this.#tray);
    this.#toGallery.addEventListener('click', () => this.#openArea());
    this.#listen();
    new ResizeObserver(() => this.#soon()).observe(this.#ground);
    darkness.addEventListener('change', () => this.#soon());
  }

  async show({ filters, camera }, again = false) {
    const key = queryText(filters);
    const address = camera && [camera.lat, camera.lon, camera.zoom].join();
    const turned = address && address !== this.#asked;
    if (key === this.#key && !again) {
      if (turned) this.#lookAt(camera);
      this.#tell();
      this.#soon();
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
    this.#find = recordFinder(askPoints, without(filters, 'area'));
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
    else this.#camera = this.#settle(this.#frameOf(this.#points));
    this.#listInView();
    this.#soon();
    this.#rest();
  }

  #lookAt({ lat, lon, zoom }) {
    this.#asked = [lat, lon, zoom].join();
    this.#camera = this.#settle({ x: mercatorX(lon), y: mercatorY(lat), zoom });
    this.#rest();
  }

  // --- The camera

  get #size() {
    return { width: this.#ground.clientWidth, height: this.#ground.clientHeight };
  }

  get #pixels() {
    return 256 * 2 ** this.#camera.zoom;
  }

  /** The camera that shows all of some points. */
  #frameOf(points) {
    let left = 1,
      right = 0,
      top = 1,
      bottom = 0;
    for (const { x, y } of points) {
      left = Math.min(left, x);
      right = Math.max(right, x);
      top = Math.min(top, y);
      bottom = Math.max(bottom, y);
    }
    const { width, height } = this.#size;
    const fit = Math.min(
      (width - 120) / Math.max(right - left, 1e-9),
      (height - 140) / Math.max(bottom - top, 1e-9),
    );
    return {
      x: (left + right) / 2,
      y: (top + bottom) / 2,
      zoom: Math.min(Math.log2(fit / 256), 11),
    };
  }

  /** The zoom at which the world just fills the width, with room for markers at its edges. */
  get #widest() {
    return Math.log2(Math.max(this.#size.width - 2 * MARGIN, 100) / 256);
  }

  /** Keeps the zoom within its bounds, and the world on the screen. */
  #settle({ x, y, zoom }) {
    const { width, height } = this.#size;
    const settled = clamp(zoom, this.#widest, DEEPEST);
    const pixels = 256 * 2 ** settled;
    const halfX = (width / 2 - MARGIN) / pixels,
      halfY = (height / 2 - MARGIN) / pixels;
    return {
      x: halfX >= 0.5 ? 0.5 : clamp(x, halfX, 1 - halfX),
      y: halfY >= 0.5 ? 0.5 : clamp(y, halfY, 1 - halfY),
      zoom: settled,
    };
  }

  #move(camera) {
    cancelAnimationFrame(this.#flight);
    this.#camera = this.#settle(camera);
    this.#soon();
    this.#rest();
  }

  #fly(camera) {
    const goal = this.#settle(camera),
      start = this.#camera,
      began = performance.now();
    if (stillness.matches) {
      this.#move(goal);
      return;
    }
    cancelAnimationFrame(this.#flight);
    const step = (now) => {
      const time = clamp((now - began) / 280, 0, 1);
      const done = 1 - (1 - time) ** 3;
      const between = (key) => start[key] + (goal[key] - start[key]) * done;
      this.#camera = { x: between('x'), y: between('y'), zoom: between('zoom') };
      this.#draw();
      if (time < 1) this.#flight = requestAnimationFrame(step);
      else this.#rest();
    };
    this.#flight = requestAnimationFrame(step);
  }

  /** Zooms by steps of a doubling so that the point (x, y) of the ground stays put. */
  #zoomAt(by, x, y) {
    const { width, height } = this.#size;
    const camera = this.#camera;
    const pixels = this.#pixels;
    const zoom = clamp(camera.zoom + by, this.#widest, DEEPEST);
    const next = 256 * 2 ** zoom;
    const dx = x - width / 2,
      dy = y - height / 2;
    return { x: camera.x + dx / pixels - dx / next, y: camera.y + dy / pixels - dy / next, zoom };
  }

  /** The part of the map on the screen. */
  #view(margin = 0) {
    const { width, height } = this.#size;
    const { x, y } = this.#camera;
    const halfX = (width / 2 + margin) / this.#pixels,
      halfY = (height / 2 + margin) / this.#pixels;
    return { left: x - halfX, right: x + halfX, top: y - halfY, bottom: y + halfY };
  }

  // --- Hands

  #listen() {
    const ground = this.#ground;
    const place = (event) => {
      const box = ground.getBoundingClientRect();
      return { x: event.clientX - box.left, y: event.clientY - box.top };
    };
    ground.addEventListener('pointerdown', (event) => {
      if (event.button !== 0 || event.target.closest('.controls')) return;
      this.#fingers.set(event.pointerId, { ...place(event), moved: false });
      this.#spread = this.#fingers.size === 2 ? this.#spreadNow() : null;
    });
    ground.addEventListener('pointermove', (event) => this.#drag(event, place(event)));
    const lift = (event) => {
      this.#fingers.delete(event.pointerId);
      this.#spread = null;
    };
    ground.addEventListener('pointerup', lift);
    ground.addEventListener('pointercancel', lift);
    ground.addEventListener(
      'wheel',
      (event) => {
        event.preventDefault();
        const { x, y } = place(event);
        this.#move(this.#zoomAt(-wheelPixels(event) / (event.ctrlKey ? 60 : 240), x, y));
      },
      { passive: false },
    );
    ground.addEventListener('dblclick', (event) => {
      if (event.target.closest('button')) return;
      const { x, y } = place(event);
      this.#fly(this.#zoomAt(1, x, y));
    });
    ground.addEventListener('keydown', (event) => this.#keyDown(event));
  }

  #spreadNow() {
    const [a, b] = [...this.#fingers.values()];
    return { distance: Math.hypot(a.x - b.x, a.y - b.y), x: (a.x + b.x) / 2, y: (a.y + b.y) / 2 };
  }

  #drag(event, at) {
    const finger = this.#fingers.get(event.pointerId);
    if (!finger) return;
    if (!finger.moved && Math.hypot(at.x - finger.x, at.y - finger.y) < 5) return;
    if (!finger.moved) this.#ground.setPointerCapture(event.pointerId);
    const moved = { x: at.x - finger.x, y: at.y - finger.y };
    Object.assign(finger, at, { moved: true });
    if (this.#fingers.size === 2 && this.#spread) {
      const now = this.#spreadNow();
      const by = Math.log2(now.distance / Math.max(1, this.#spread.distance));
      this.#move(this.#zoomAt(by, now.x, now.y));
      this.#spread = now;
    } else if (this.#fingers.size === 1) {
      const { x, y, zoom } = this.#camera;
      this.#move({ x: x - moved.x / this.#pixels, y: y - moved.y / this.#pixels, zoom });
    }
  }

  #keyDown(event) {
    if (event.altKey || event.ctrlKey || event.metaKey) return;
    const pan = 90 / this.#pixels;
    const { x, y, zoom } = this.#camera;
    const next = {
      ArrowLeft: { x: x - pan, y, zoom },
      ArrowRight: { x: x + pan, y, zoom },
      ArrowUp: { x, y: y - pan, zoom },
      ArrowDown: { x, y: y + pan, zoom },
      '+': { x, y, zoom: zoom + 1 },
      '=': { x, y, zoom: zoom + 1 },
      '-': { x, y, zoom: zoom - 1 },
    }[event.key];
    if (!next) return;
    event.preventDefault();
    if (event.key.startsWith('Arrow')) this.#move(next);
    else this.#fly(next);
  }

  // --- Drawing

  #soon() {
    if (this.#root.hidden || this.#points.length === 0) return;
    this.#frame ||= requestAnimationFrame(() => {
      this.#frame = 0;
      this.#camera = this.#settle(this.#camera);
      this.#draw();
    });
  }

  #draw() {
    const { width, height } = this.#size;
    this.#earth.draw({ ...this.#camera, pixels: this.#pixels }, width, height);
    this.#drawMarkers();
    this.#drawScale();
  }

  #drawScale() {
    const metres =
      (40_075_017 * Math.cos((latitude(this.#camera.y) * Math.PI) / 180)) / this.#pixels;
    const most = metres * 110;
    const power = 10 ** Math.floor(Math.log10(most));
    const round = [5, 2, 1].map((n) => n * power).find((n) => n <= most);
    this.#scale.textContent = round >= 1000 ? `${count(round / 1000)} km` : `${count(round)} m`;
    this.#scale.style.width = `${round / metres}px`;
  }

  #drawMarkers() {
    const level = clamp(Math.floor(this.#camera.zoom), 0, DEEPEST);
    let clusters = this.#clusters.get(level);
    if (!clusters) this.#clusters.set(level, (clusters = clustersOf(this.#points, level)));
    const view = this.#view(40);
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
      const px = (x - view.left) * this.#pixels - 40,
        py = (y - view.top) * this.#pixels - 40;
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

  /** One photo opens; a cluster comes nearer; one that can't come apart opens as a list. */
  #openCluster({ members }) {
    const points = members.map((index) => this.#points[index]);
    if (points.length === 1) {
      this.#openPhoto(points[0].id);
      return;
    }
    const frame = this.#settle(this.#frameOf(points));
    const deepest = { ...frame, zoom: DEEPEST };
    if (this.#camera.zoom >= DEEPEST - 0.1 || clustersOf(points, DEEPEST).length === 1) {
      this.#openArea(points);
    } else if (frame.zoom <= this.#camera.zoom + 0.5) {
      this.#fly({ ...frame, zoom: Math.min(deepest.zoom, this.#camera.zoom + 1.5) });
    } else {
      this.#fly(frame);
    }
  }

  #openPhoto(id) {
    go({ photo: id, at: Math.max(0, this.listing.indexOf(id)) });
  }

  /** The gallery of what is in view, or of some points. */
  #openArea(points = null) {
    const view = points ? boxAround(points) : this.#view();
    const west = Math.max(-180, longitude(view.left)),
      east = Math.min(180, longitude(view.right));
    const south = latitude(view.bottom),
      north = latitude(view.top);
    const area = [west, south, east, north].map((degrees) => degrees.toFixed(5)).join(',');
    go({ view: 'gallery', filters: { ...state.filters, area } });
  }

  // --- What is in view

  #rest = whenQuiet(220, () => {
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
    const { left, right, top, bottom } = this.#view();
    return this.#points
      .filter(({ x, y }) => x >= left && x <= right && y >= top && y <= bottom)
      .map(({ id }) => id)
      .reverse();
  }

  #listInView() {
    const ids = this.#inView();
    this.listing = new IdList(async () => ({ ids, find: this.#find }));
    this.#tell();
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

  #tell() {
    if (this.#points.length === 0) return;
    const inView = this.listing?.total ?? this.#inView().length;
    setSummary(plural(this.#points.length, 'photo'), `with a place, ${count(inView)} in view`);
  }
}
