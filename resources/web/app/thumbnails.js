// SPDX-License-Identifier: GPL-3.0-or-later

const FIRST_PAUSE = 1000;
const LONGEST_PAUSE = 60_000;

/**
 * Shows the thumbnail of `id` in `image`. A thumbnail that isn't there yet is being
 * made by the server once it was asked for, so it is asked for again with growing
 * pauses for as long as it is wanted. Returns the function that ends the wish.
 */
function showThumb(image, id, whenShown = () => {}) {
  let pause = FIRST_PAUSE;
  let timer = 0;
  image.onload = () => {
    image.classList.add('shown');
    whenShown(image);
  };
  image.onerror = () => {
    timer = setTimeout(
      () => {
        image.src = thumbAddress(id);
      },
      pause * (0.9 + Math.random() / 5),
    );
    pause = Math.min(pause * 2, LONGEST_PAUSE);
  };
  image.src = thumbAddress(id);
  return () => {
    clearTimeout(timer);
    image.onload = image.onerror = null;
    image.removeAttribute('src');
    image.classList.remove('shown');
  };
}
