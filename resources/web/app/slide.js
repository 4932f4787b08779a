// SPDX-License-Identifier: GPL-3.0-or-later

const MOST_ZOOM = 8;

/** A picture of the lightbox: its thumbnail at once, the full one when it's there. */
class Slide {
  element;
  done = false;
  failed = false;
  #picture;
  #thumb = el('img', { class: 'thumb', alt: '', draggable: false });
  #full = null;
  #stopThumb;
  #scale = 1;
  #x = 0;
  #y = 0;
  #whenDone;
  #label = '';

  constructor(id, whenDone) {
    this.id = id;
    this.#whenDone = whenDone;
    this.#picture = el('div', { class: 'picture' }, this.#thumb);
    this.element = el('div', { class: 'slide' }, this.#picture);
    this.#stopThumb = showThumb(this.#thumb, id);
  }

  /** What is known of the photo: its name for who can't see it, its form and colour meanwhile. */
  describe(item) {
    this.#label = item.bare ? 'Photo' : photoLabel(item);
    (this.#full ?? this.#thumb).alt = this.#label;
    const { width, height } = item.dimensions ?? {};
    if (width && height) this.element.style.setProperty('--form', `${width} / ${height}`);
    const colour = item.average_color?.hex;
    if (colour) this.element.style.setProperty('--colour', colour);
  }

  get zoomed() {
    return this.#scale > 1.01;
  }

  load() {
    if (this.#full) return;
    const full = el('img', {
      class: 'full',
      alt: this.#label,
      decoding: 'async',
      draggable: false,
    });
    this.#full = full;
    const settled = (failed) => {
      this.done = true;
      this.failed = failed;
      this.element.classList.toggle('ready', !failed);
      this.#whenDone();
    };
    full.addEventListener('load', () => settled(false));
    full.addEventListener('error', () => settled(true));
    full.src = imageAddress(this.id);
    this.#picture.append(full);
  }

  again() {
    this.#full?.remove();
    this.#full = null;
    this.done = this.failed = false;
    this.#whenDone();
  }

  stop() {
    this.#stopThumb();
    this.#full?.removeAttribute('src');
    this.element.remove();
  }

  // --- Zoom: the picture's centre is moved by (x, y) pixels and scaled around itself.

  /** Zooms so that the point (x, y) of the screen stays where it is. */
  zoomTo(scale, x, y) {
    const box = this.element.getBoundingClientRect();
    const px = (x ?? box.left + box.width / 2) - box.left - box.width / 2;
    const py = (y ?? box.top + box.height / 2) - box.top - box.height / 2;
    const next = clamp(scale, 1, MOST_ZOOM);
    this.#x = px - ((px - this.#x) * next) / this.#scale;
    this.#y = py - ((py - this.#y) * next) / this.#scale;
    this.#scale = next;
    this.settle();
  }

  zoomBy(factor, x, y) {
    this.zoomTo(this.#scale * factor, x, y);
  }

  toggle(x, y) {
    this.zoomTo(this.zoomed ? 1 : 2.5, x, y);
  }

  panBy(x, y) {
    this.#x += x;
    this.#y += y;
    this.settle();
  }

  reset() {
    this.#scale = 1;
    this.settle();
  }

  /** Keeps the picture's edges outside the screen's while it's larger than that. */
  settle() {
    const { clientWidth: width, clientHeight: height } = this.element;
    const [w, h] = this.#shownSize(width, height);
    const roomX = Math.max(0, (w * this.#scale - width) / 2);
    const roomY = Math.max(0, (h * this.#scale - height) / 2);
    this.#x = clamp(this.#x, -roomX, roomX);
    this.#y = clamp(this.#y, -roomY, roomY);
    this.#picture.style.transform = this.zoomed
      ? `translate(${this.#x}px, ${this.#y}px) scale(${this.#scale})`
      : '';
    this.element.classList.toggle('zoomed', this.zoomed);
  }

  #shownSize(width, height) {
    const image = this.#full?.naturalWidth ? this.#full : this.#thumb;
    const { naturalWidth: w, naturalHeight: h } = image;
    if (!w || !h) return [width, height];
    const fit = Math.min(width / w, height / h);
    return [w * fit, h * fit];
  }
}

/** Fingers, mouse and wheel on the lightbox: swipe, pan, pinch, double tap. */
class Hands {
  #stage;
  #act;
  #fingers = new Map();
  #start = null;
  #lastTap = null;
  #pinch = 0;

  constructor(stage, act) {
    this.#stage = stage;
    this.#act = act;
    stage.addEventListener('pointerdown', (event) => this.#down(event));
    stage.addEventListener('pointermove', (event) => this.#move(event));
    stage.addEventListener('pointerup', (event) => this.#up(event));
    stage.addEventListener('pointercancel', (event) => this.#up(event, true));
    stage.addEventListener(
      'wheel',
      (event) => {
        event.preventDefault();
        act
          .slide()
          ?.zoomBy(
            Math.exp(-wheelPixels(event) / (event.ctrlKey ? 100 : 400)),
            event.clientX,
            event.clientY,
          );
      },
      { passive: false },
    );
  }

  #down(event) {
    if (event.button !== 0) return;
    try {
      this.#stage.setPointerCapture(event.pointerId);
    } catch {
      // A finger that is gone already can't be held.
    }
    this.#fingers.set(event.pointerId, { x: event.clientX, y: event.clientY });
    if (this.#fingers.size === 1)
      this.#start = { x: event.clientX, y: event.clientY, moved: false };
    else this.#beginPinch();
  }

  #beginPinch() {
    if (this.#start && this.#start.moved) this.#act.drop(0, 0);
    this.#start = null;
    this.#pinch = this.#spread().distance;
  }

  #spread() {
    const [a, b] = [...this.#fingers.values()];
    return { distance: Math.hypot(a.x - b.x, a.y - b.y), x: (a.x + b.x) / 2, y: (a.y + b.y) / 2 };
  }

  #move(event) {
    const finger = this.#fingers.get(event.pointerId);
    if (!finger) return;
    const moved = { x: event.clientX - finger.x, y: event.clientY - finger.y };
    finger.x = event.clientX;
    finger.y = event.clientY;
    const slide = this.#act.slide();
    if (this.#fingers.size > 1) {
      const { distance, x, y } = this.#spread();
      slide?.zoomBy(distance / Math.max(1, this.#pinch), x, y);
      this.#pinch = distance;
    } else if (this.#start) {
      const x = event.clientX - this.#start.x,
        y = event.clientY - this.#start.y;
      if (!this.#start.moved && Math.hypot(x, y) < 8) return;
      this.#start.moved = true;
      if (slide?.zoomed) slide.panBy(moved.x, moved.y);
      else this.#act.drag(x, y);
    }
  }

  #up(event, cancelled = false) {
    if (!this.#fingers.delete(event.pointerId) || !this.#start) return;
    const start = this.#start;
    this.#start = null;
    const slide = this.#act.slide();
    if (start.moved) {
      if (!slide?.zoomed) {
        this.#act.drop(
          ...(cancelled ? [0, 0] : [event.clientX - start.x, event.clientY - start.y]),
        );
      }
      return;
    }
    const last = this.#lastTap;
    this.#lastTap = { x: event.clientX, y: event.clientY, at: event.timeStamp };
    if (
      last &&
      event.timeStamp - last.at < 320 &&
      Math.hypot(event.clientX - last.x, event.clientY - last.y) < 30
    ) {
      this.#lastTap = null;
      slide?.toggle(event.clientX, event.clientY);
    }
  }
}
