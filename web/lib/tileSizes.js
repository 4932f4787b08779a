// SPDX-License-Identifier: GPL-3.0-or-later
import { preferences } from './preferences.js';

/**
 * The sizes to choose from, in pixels: the least width of a tile in the gallery, on a
 * phone and elsewhere, and the width of a block in the colour view.
 */
export const TILE_SIZES = {
  small: { phone: 84, wide: 120, block: 10, name: 'Small tiles' },
  medium: { phone: 118, wide: 176, block: 18, name: 'Medium tiles' },
  large: { phone: 180, wide: 260, block: 32, name: 'Large tiles' },
};

/** The key of the chosen size. */
export function chosenTileSize() {
  const key = preferences.read('density', 'medium');
  return Object.hasOwn(TILE_SIZES, key) ? key : 'medium';
}

/** Chooses the next size, after the largest the smallest. */
export function chooseNextTileSize() {
  const keys = Object.keys(TILE_SIZES);
  preferences.write('density', keys[(keys.indexOf(chosenTileSize()) + 1) % keys.length]);
}
