// SPDX-License-Identifier: GPL-3.0-or-later

/**
 * The colour families in the catalog's order. `below` is the hue in degrees at which
 * the family ends; it begins where the one before it does. Reds lie around 0.
 */
export const FAMILIES = {
  Red: { hex: '#e23b3b', below: 15 },
  Orange: { hex: '#e2873b', below: 45 },
  Yellow: { hex: '#e2d23b', below: 65 },
  Green: { hex: '#4caf50', below: 165 },
  Cyan: { hex: '#3bc7e2', below: 195 },
  Blue: { hex: '#3b6fe2', below: 255 },
  Purple: { hex: '#8d3be2', below: 290 },
  Pink: { hex: '#e23bb0', below: 345 },
  White: { hex: '#e8e8e8' },
  Gray: { hex: '#9aa0a8' },
  Black: { hex: '#2c2c2c' },
};
const FIRST_RED_HUE = 345;

/** The least saturation of a coloured family. */
export const COLOURED = 0.12;

/** The stored family names are keys; the texts are British. */
export const familyName = (family) => (family === 'Gray' ? 'Grey' : family);

export const familyHex = (family) => FAMILIES[family]?.hex ?? '#888';

/** "#rrggbb" as hue in degrees, saturation and lightness from 0 to 1. */
export function hslOf(hex) {
  const number = parseInt(hex.slice(1), 16);
  const [r, g, b] = [number >> 16, (number >> 8) & 255, number & 255].map((part) => part / 255);
  const high = Math.max(r, g, b),
    low = Math.min(r, g, b);
  const lum = (high + low) / 2;
  if (high === low) return { hue: 0, sat: 0, lum };
  const d = high - low;
  const sixth =
    high === r ? (g - b) / d + (g < b ? 6 : 0) : high === g ? (b - r) / d + 2 : (r - g) / d + 4;
  return { hue: 60 * sixth, sat: d / (lum > 0.5 ? 2 - high - low : high + low), lum };
}

/** The colour family of "#rrggbb", by the catalog's rules. */
export function familyOf(hex) {
  const { hue, sat, lum } = hslOf(hex);
  if (sat < COLOURED) return lum < 0.2 ? 'Black' : lum > 0.85 ? 'White' : 'Gray';
  if (hue >= FIRST_RED_HUE) return 'Red';
  return Object.keys(FAMILIES).find((family) => hue < FAMILIES[family].below);
}
