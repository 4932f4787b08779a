// SPDX-License-Identifier: GPL-3.0-or-later
//
// Shared by all browser tests: the browser, the servers, and a new page for each test.
import { after, before, describe, test } from 'node:test';
import { join } from 'node:path';
import { chromium } from 'playwright-core';
import { GalleryServer } from './galleryServer.mjs';
import { PageDriver } from './pageDriver.mjs';

/** The desktop asks for reduced motion, so that pages with and without it are tested. */
const WINDOWS = {
  phone: {
    viewport: { width: 390, height: 844 },
    deviceScaleFactor: 2,
    hasTouch: true,
    isMobile: true,
  },
  desktop: { viewport: { width: 1440, height: 900 }, reducedMotion: 'reduce' },
};

/** The library of most tests. */
export const LIBRARY = { photos: 4000 };

/** Caches what `make` gives for each settings. */
function cached(make) {
  const made = new Map();
  const get = (settings = {}) => {
    const key = JSON.stringify(settings);
    if (!made.has(key)) made.set(key, make(settings));
    return made.get(key);
  };
  return { get, all: () => Promise.all(made.values()) };
}

const servers = cached((settings) => GalleryServer.of(settings));

const browsers = cached(() =>
  chromium.launch({
    executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic'],
  }),
);

/** Keeps its first page open: without one, each test would open the window anew. */
const windows = cached(async (settings) => {
  const context = await (await browsers.get()).newContext({ locale: 'en-GB', ...settings });
  context.setDefaultTimeout(20_000);
  await context.newPage();
  return context;
});

after(async () => {
  for (const browser of await browsers.all()) await browser.close();
  for (const server of await servers.all()) await server.stop();
});

/**
 * Tests against one library, each in a page of its own. `define` gets `onPhone`,
 * `onDesktop` and `onBoth`, which take a test's name and a function of its PageDriver
 * and window, and `server`, from the first test on.
 */
export function suite(title, settings, define) {
  const { window: own = {}, ...library } = settings;
  describe(title, { concurrency: 2 }, () => {
    const context = {};
    before(async () => {
      context.server = await servers.get(library);
    });
    const on = (name) => (what, run) =>
      test(`${what} (${name})`, { timeout: 90_000 }, async () => {
        const window = await windows.get({ ...WINDOWS[name], ...own });
        await runInPage(`${title}, ${what}, ${name}`, window, context.server, (driver) =>
          run(driver, name),
        );
      });
    context.onPhone = on('phone');
    context.onDesktop = on('desktop');
    context.onBoth = (what, run) => {
      context.onPhone(what, run);
      context.onDesktop(what, run);
    };
    define(context);
  });
}

/** Runs one test, and fails for errors in the page as well. */
async function runInPage(name, window, server, run) {
  const page = await window.newPage();
  try {
    const driver = new PageDriver(page, server);
    await run(driver);
    driver.assertNoPageErrors();
  } catch (error) {
    throw await withScreenshot(name, page, error);
  } finally {
    await page.close();
  }
}

async function withScreenshot(name, page, error) {
  const path = join(process.env.FAILURES ?? '.', `${name.replace(/[^\w]+/g, '-')}.png`);
  await page.screenshot({ path }).catch(() => {});
  return new Error(`${error.message}\n  at ${page.url()}, screenshot in ${path}`, { cause: error });
}
