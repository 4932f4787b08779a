// SPDX-License-Identifier: GPL-3.0-or-later

/** Pixels that a pointer moves before it drags. */
const DRAG_THRESHOLD = 6;
const DOUBLE_TAP_MILLISECONDS = 320;
const DOUBLE_TAP_PIXELS = 30;

/** Pixels of wheel for a doubling; a pinch on a touchpad counts as a wheel with Ctrl. */
const WHEEL_DOUBLING = 250;
const PINCH_DOUBLING = 65;

/** The turn of a wheel in pixels; some browsers count it in lines. */
const wheelPixels = ({ deltaY, deltaMode }) => deltaY * (deltaMode === 1 ? 30 : 1);

/**
 * Recognises the gestures of fingers, mouse and wheel on an element, and calls handlers:
 *
 *   drag(moved, total)        one pointer has moved by `moved` since the last call and by
 *                             `total` since the drag began, each { x, y }
 *   drop(total)               the drag has ended; { x: 0, y: 0 } when it was cancelled
 *   zoom(factor, x, y)        two pointers or the wheel zoom around a point of the window
 *   doubleTap(x, y, target)   two taps or clicks near one another
 *
 * What lies below an element that matches `ignored` has no gestures. Clicks on what
 * lies inside still work, since a pointer is captured only once it drags.
 */
export class PointerGestures {
  #element;
  #handlers;
  #pointers = new Map(); // id → { x, y }, in the window
  #drag = null; // { x, y } where it began, `moved`, `tap` unless it followed a pinch
  #spread = 0;
  #lastTap = null;

  constructor(element, handlers, { ignored = null } = {}) {
    this.#element = element;
    this.#handlers = { drop: () => {}, doubleTap: () => {}, ...handlers };
    element.addEventListener('pointerdown', (event) => {
      if (event.button === 0 && !(ignored && event.target.closest(ignored))) this.#down(event);
    });
    element.addEventListener('pointermove', (event) => this.#move(event));
    addEventListener('pointerup', (event) => this.#up(event));
    addEventListener('pointercancel', (event) => this.#up(event, true));
    element.addEventListener('wheel', (event) => this.#wheel(event), { passive: false });
  }

  #wheel(event) {
    event.preventDefault();
    const doubling = event.ctrlKey ? PINCH_DOUBLING : WHEEL_DOUBLING;
    this.#handlers.zoom(2 ** (-wheelPixels(event) / doubling), event.clientX, event.clientY);
  }

  #down({ pointerId, clientX: x, clientY: y }) {
    this.#pointers.set(pointerId, { x, y });
    if (this.#pointers.size === 1) {
      this.#drag = { x, y, moved: false, tap: true };
      return;
    }
    if (this.#drag?.moved) this.#handlers.drop({ x: 0, y: 0 });
    this.#drag = null;
    this.#spread = this.#pinch().distance;
  }

  /** The distance of the first two pointers and the point between them. */
  #pinch() {
    const [a, b] = [...this.#pointers.values()];
    return { distance: Math.hypot(a.x - b.x, a.y - b.y), x: (a.x + b.x) / 2, y: (a.y + b.y) / 2 };
  }

  #move({ pointerId, clientX: x, clientY: y }) {
    const pointer = this.#pointers.get(pointerId);
    if (!pointer) return;
    const moved = { x: x - pointer.x, y: y - pointer.y };
    if (this.#pointers.size > 1) {
      Object.assign(pointer, { x, y });
      const { distance, ...middle } = this.#pinch();
      this.#handlers.zoom(distance / Math.max(1, this.#spread), middle.x, middle.y);
      this.#spread = distance;
    } else if (this.#drag) {
      const total = { x: x - this.#drag.x, y: y - this.#drag.y };
      if (!this.#drag.moved && Math.hypot(total.x, total.y) < DRAG_THRESHOLD) return;
      if (!this.#drag.moved) this.#capture(pointerId);
      this.#drag.moved = true;
      Object.assign(pointer, { x, y });
      this.#handlers.drag(moved, total);
    }
  }

  #capture(pointerId) {
    try {
      this.#element.setPointerCapture(pointerId);
    } catch {
      // The pointer has been lifted meanwhile.
    }
  }

  #up(event, cancelled = false) {
    if (!this.#pointers.delete(event.pointerId)) return;
    const drag = this.#drag;
    const [left] = this.#pointers.values();
    this.#drag = this.#pointers.size === 1 ? { ...left, moved: false, tap: false } : null;
    if (this.#pointers.size > 1) this.#spread = this.#pinch().distance;
    if (drag?.moved) {
      const total = { x: event.clientX - drag.x, y: event.clientY - drag.y };
      this.#handlers.drop(cancelled ? { x: 0, y: 0 } : total);
    } else if (drag?.tap && !cancelled) {
      this.#tap(event);
    }
  }

  #tap({ clientX: x, clientY: y, timeStamp, target }) {
    const last = this.#lastTap;
    this.#lastTap = { x, y, timeStamp };
    const isDouble =
      last &&
      timeStamp - last.timeStamp < DOUBLE_TAP_MILLISECONDS &&
      Math.hypot(x - last.x, y - last.y) < DOUBLE_TAP_PIXELS;
    if (!isDouble) return;
    this.#lastTap = null;
    this.#handlers.doubleTap(x, y, target);
  }
}
