// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { createServer } from 'node:http';
import { LIBRARY, suite } from './harness.mjs';

const VIEWS = ['gallery', 'colours', 'map', 'statistics'];
const titleOf = (view) => view[0].toUpperCase() + view.slice(1);

/** Waits until a view has something to show, whichever it is. */
const waitForContent = (driver) =>
  driver.waitUntil(() => document.querySelector('.cell a[href], .families a, .marker, .card'));

// --- Passwords

const PASSWORD = 'Nuß: "offen" 7';
const LOCKED = { photos: 60, password: PASSWORD };
const KEY = { httpCredentials: { username: 'anyone', password: PASSWORD } };

suite('a gallery with a password', { ...LOCKED, window: KEY }, ({ onPhone }) => {
  onPhone('every view works with the password', async (driver) => {
    await driver.open();
    await driver.waitForTotal(60);
    await driver.waitUntil(() => document.querySelector('.cell img.shown')?.naturalWidth > 0);
    for (const view of VIEWS) {
      await driver.open(`/?view=${view}`);
      await waitForContent(driver);
    }
  });
});

// Before the others: a browser remembers a password.
suite('a gallery with a password', LOCKED, ({ onDesktop }) => {
  onDesktop('nothing is shown without the password', async (driver) => {
    await assert.rejects(driver.open(), /ERR_INVALID_AUTH_CREDENTIALS/);
    assert.equal(await driver.page.locator('.top').count(), 0);
  });
});

suite('a gallery with a password', LOCKED, ({ onDesktop }) => {
  onDesktop('an address with the password opens; a changed one asks to reload', async (driver) => {
    const credentials = `://me:${encodeURIComponent(PASSWORD)}@`;
    await driver.page.goto(driver.address.replace('://', credentials));
    await driver.waitForTotal(60);
    await driver.tile(0).waitFor();
    await driver.openPhoto(0);
    await driver.button('Close');
    await driver.waitForClosedLightbox();
    await driver.page.route('**/api/*', (route) => route.fulfill({ status: 401 }));
    await driver.page.getByLabel('Sort').selectOption('oldest');
    await driver.waitForText('This gallery asks for its password');
    await driver.page.getByRole('button', { name: 'Reload the page' }).waitFor();
  });
});

// --- Empty, unreachable and framed

suite('an empty gallery', { photos: 0 }, ({ onPhone }) => {
  const words = {
    gallery: 'No photos yet',
    colours: 'No colours',
    map: 'No locations',
    statistics: 'Nothing to count yet',
  };
  onPhone('every view says that it is empty', async (driver) => {
    for (const view of VIEWS) {
      await driver.open(`/?view=${view}`);
      await driver.waitForText(words[view]);
    }
    await driver.open('/?year=2020');
    await driver.waitForText('No photos match these filters.');
    await driver.button('Filters');
    await driver.page.getByRole('dialog').getByLabel('Favourites only').waitFor();
  });
});

suite('a failing server', LIBRARY, ({ onPhone, onDesktop }) => {
  onPhone('every view reports it and recovers, by itself or on request', async (driver) => {
    await driver.open();
    await waitForContent(driver);
    await driver.page.route('**/api/*', (route) => route.abort());
    for (const view of VIEWS.slice(1)) {
      await driver.goToView(titleOf(view));
      await driver.waitForText('The gallery can’t be reached');
    }
    await driver.page.unroute('**/api/*');
    await driver.button('Try again');
    await driver.waitForText('favourites');
    await driver.page.route('**/api/*', (route) => route.abort());
    await driver.open('/?sort=oldest');
    await driver.waitForText('The gallery can’t be reached');
    const again = driver.page.getByRole('button', { name: 'Try again' });
    await again.focus();
    await driver.page.waitForEvent('requestfailed');
    assert.ok(await again.evaluate((button) => button === document.activeElement));
    await driver.page.unroute('**/api/*');
    await driver.tile(0).waitFor();
  });

  onDesktop('malformed answers are reported as errors', async (driver) => {
    for (const body of ['{}', '', '[]', '<html>', '{"total":"x","items":[]}']) {
      await driver.page.route('**/api/photos*', (route) => route.fulfill({ body }));
      await driver.open();
      await driver.waitForText('The gallery gave no usable answer');
      await driver.page.unroute('**/api/photos*');
    }
  });
});

suite('a frame', { photos: 60 }, ({ onDesktop }) => {
  onDesktop('of another site shows no photos', async (driver) => {
    // A server of its own, since browsers don't let remote sites frame local ones.
    const other = createServer((_, response) => {
      response.setHeader('Content-Type', 'text/html');
      response.end(`<iframe src="${driver.address}/"></iframe>`);
    });
    await new Promise((resolve) => other.listen(0, '127.0.0.1', resolve));
    try {
      await driver.page.goto(`http://127.0.0.1:${other.address().port}/`);
      const frame = driver.page.frameLocator('iframe');
      await frame.getByText('This page doesn’t open inside another one').waitFor();
      assert.equal(await frame.locator('.cell, .top').count(), 0);
    } finally {
      other.closeAllConnections();
      other.close();
    }
  });
});

// --- Names

suite('file names with markup, emoji and right-to-left text', LIBRARY, ({ onPhone }) => {
  // The library has one photo with each of these in its name.
  const odd = [
    '<img src=x onerror=',
    '"quoted" & \'single\' <b>bold</b>',
    '<script>',
    '🏔️ Gipfel 👨‍👩‍👧 ünïcödé',
    'עברית',
    '100% off?page=1&q=#top+1',
    'a long way to go',
  ];
  onPhone('are shown as text, inside their boxes', async (driver) => {
    for (const part of odd) {
      const { items } = await driver.server.ask('/api/photos', { q: part });
      assert.equal(items.length, 1, part);
      await driver.open(`/?q=${encodeURIComponent(part)}`);
      await driver.waitForTile(0, items[0]);
      await driver.openPhoto(0);
      const { original_filename: name } = items[0];
      assert.equal(await driver.page.locator('#lightbox .title').textContent(), name);
      assert.ok((await driver.details()).includes(name));
      assert.deepEqual(await driver.chips(), [`“${part}”`]);
      const overflowing = await driver.page.evaluate(() =>
        [...document.querySelectorAll('html, .facts, .viewer > header')]
          .filter((box) => box.scrollWidth > box.clientWidth)
          .map((box) => box.className || box.tagName),
      );
      assert.deepEqual(overflowing, [], part);
    }
    assert.equal(await driver.page.locator('img[onerror], #lightbox b').count(), 0);
    assert.equal(await driver.page.title(), 'Vaultmere');
  });
});

// --- Keyboard and screen reader

/** The shown elements whose role needs a name and that have none. */
function nameless() {
  const unnamed = ['listitem', 'status', 'alert', 'search'];
  const isExposed = (element) =>
    element.checkVisibility() &&
    !element.closest('[aria-hidden=true]') &&
    !unnamed.includes(element.getAttribute('role'));
  const nameOf = (element) =>
    element.getAttribute('aria-label') ??
    document.getElementById(element.getAttribute('aria-labelledby'))?.textContent ??
    [
      element.innerText,
      element.title,
      ...[...(element.labels ?? [])].map((label) => label.innerText),
    ].join('');
  return [...document.querySelectorAll('button, a, input, select, [role], dialog, canvas')]
    .filter((element) => isExposed(element) && !nameOf(element).trim())
    .map((element) => element.outerHTML.slice(0, 120));
}

suite('accessibility', LIBRARY, ({ onBoth, onDesktop }) => {
  onBoth('every control has a name for screen readers', async (driver, window) => {
    const namesAll = async (what) =>
      assert.deepEqual(await driver.page.evaluate(nameless), [], what);
    const [{ id }] = (await driver.server.ask('/api/photos', { favorite: 1 })).items;
    for (const query of [...VIEWS.map((view) => `view=${view}`), `favorite=1&photo=${id}`]) {
      await driver.open(`/?${query}`);
      await waitForContent(driver);
      await namesAll(query);
    }
    if (window === 'desktop') {
      await driver.open();
      await driver.page.setViewportSize({ width: 750, height: 900 });
      await waitForContent(driver);
      await namesAll('a narrow window');
    }
  });

  onDesktop('Tab stays in the open panel, which returns the focus', async (driver) => {
    const focused = () =>
      driver.page.evaluate(() => {
        const { ariaLabel, id, textContent, tagName } = document.activeElement;
        return ariaLabel || id || textContent.trim() || tagName;
      });
    await driver.open();
    await waitForContent(driver);
    await driver.press('Tab');
    assert.equal(await focused(), 'Skip to the content');
    await driver.press('Enter');
    assert.equal(await focused(), 'main');
    const filters = driver.page.getByRole('button', { name: 'Filters', exact: true });
    await filters.focus();
    await driver.press('Enter');
    const dialog = driver.page.getByRole('dialog', { name: 'Filters' });
    await dialog.getByLabel('Year').waitFor();
    for (let i = 0; i < 40; i++) {
      await driver.press('Tab');
      const isOutside = await driver.page.evaluate(() =>
        document.activeElement.matches('main *, .top *'),
      );
      assert.ok(!isOutside, `Tab left the panel for ${await focused()}`);
    }
    await driver.press('Escape');
    assert.ok(!(await dialog.isVisible()));
    assert.equal(await focused(), 'Filters');
  });
});

// A window of its own, since the clock is one for all pages of a window.
suite('accessibility', { ...LIBRARY, window: { colorScheme: 'dark' } }, ({ onDesktop }) => {
  onDesktop('reduced motion shows no animations', async (driver) => {
    await driver.open();
    await waitForContent(driver);
    await driver.openPhoto(0);
    await driver.press('ArrowRight');
    await driver.waitForPhoto(1);
    const moving = () =>
      document
        .getAnimations()
        .filter(({ effect }) => effect.getComputedTiming().activeDuration > 1)
        .map(({ effect }) => effect.target.className);
    assert.deepEqual(await driver.page.evaluate(moving), []);
    await driver.open('/?view=map&centre=20,10,4');
    await driver.page.locator('.marker').first().waitFor();
    await driver.page.locator('.ground').focus();
    const { clock } = driver.page;
    await clock.install();
    await clock.pauseAt(Date.now() + 60_000);
    const scale = () =>
      driver.page
        .locator('.scale')
        .evaluate(({ textContent, style }) => `${textContent} in ${style.width}`);
    const before = await scale();
    await driver.press('+');
    await clock.runFor(50);
    const after = await scale();
    assert.notEqual(after, before);
    await clock.runFor(1000);
    assert.equal(await scale(), after, 'the map moves at once');
  });
});
