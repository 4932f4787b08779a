// SPDX-License-Identifier: GPL-3.0-or-later

export const reducedMotion = matchMedia('(prefers-reduced-motion: reduce)');
export const darkScheme = matchMedia('(prefers-color-scheme: dark)');

/** The present value of a colour of styles/base.css, as "--accent". */
export const themeColour = (name) =>
  getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
