// SPDX-License-Identifier: GPL-3.0-or-later
import { thumbAddress } from './server.js';

const FIRST_PAUSE = 1000;
export const MAX_PAUSE = 60_000;
const FAILURES_UNTIL_MISSING = 2;

/**
 * Shows the thumbnail of `id` in `image`. The server begins to make a missing thumbnail
 * when it is asked for, so the request is repeated with growing pauses. `onMissing` is
 * called when the thumbnail is still missing after the second request: it takes long,
 * or can't be made at all. Returns the function that ends the requests.
 */
export function showThumb(image, id, onMissing = () => {}) {
  let failures = 0;
  let timer = 0;
  image.onload = () => image.classList.add('shown');
  image.onerror = () => {
    failures += 1;
    if (failures === FAILURES_UNTIL_MISSING) onMissing();
    const pause = Math.min(FIRST_PAUSE * 2 ** (failures - 1), MAX_PAUSE);
    timer = setTimeout(
      () => {
        image.src = thumbAddress(id);
      },
      pause * (0.9 + Math.random() / 5),
    );
  };
  image.src = thumbAddress(id);
  return () => {
    clearTimeout(timer);
    image.onload = image.onerror = null;
    image.removeAttribute('src');
    image.classList.remove('shown');
  };
}
