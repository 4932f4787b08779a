// SPDX-License-Identifier: GPL-3.0-or-later
//
// The Mercator projection, on a map whose width and height go from 0 to 1.
import { clamp } from './functions.js';

const HIGHEST_LATITUDE = 85.0511;

export const mercatorX = (lon) => (lon + 180) / 360;
export const mercatorY = (lat) => {
  const angle = (clamp(lat, -HIGHEST_LATITUDE, HIGHEST_LATITUDE) * Math.PI) / 180;
  return 0.5 - Math.log(Math.tan(Math.PI / 4 + angle / 2)) / (2 * Math.PI);
};
export const longitude = (x) => x * 360 - 180;
export const latitude = (y) => (Math.atan(Math.sinh(Math.PI * (1 - 2 * y))) * 180) / Math.PI;
