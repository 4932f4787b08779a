// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { before } from 'node:test';
import { LIBRARY, suite } from './harness.mjs';

suite('colours', LIBRARY, (context) => {
  const { onPhone, onDesktop } = context;
  let facets, colours;
  before(async () => {
    facets = await context.server.ask('/api/stats');
    colours = await context.server.ask('/api/colors');
  });

  onPhone('a block opens its photo, with its record', async (driver) => {
    await driver.open('/?view=colours');
    await driver.waitForTotal(colours.length);
    await driver.waitForDrawings();
    const { x, y } = await driver.page.locator('.field-of-colour').boundingBox();
    await driver.page.touchscreen.tap(x + 150, y + 210);
    const photo = await driver.waitForAnyPhoto();
    const { hex } = colours.find(({ id }) => id === photo);
    const text = await driver.details();
    assert.ok(text.includes(hex) && text.includes(photo), text);
    await driver.page.goBack();
    await driver.waitForClosedLightbox();
  });

  onPhone('a family links to a gallery of the stated number of photos', async (driver) => {
    await driver.open('/?view=colours');
    // Black and white photos are grey blocks, but belong to no family.
    const { n } = facets.colors.find(({ name }) => name === 'Gray');
    await driver.page.getByRole('link', { name: `Grey, ${n} photos` }).click();
    await driver.waitForTotal(n);
    assert.deepEqual(await driver.chips(), ['Grey']);
  });

  onDesktop('keys move between the blocks of the filtered photos', async (driver) => {
    const label = facets.top_labels[0].id;
    const those = await driver.server.ask('/api/colors', { label });
    await driver.open(`/?view=colours&label=${encodeURIComponent(label)}`);
    await driver.waitForTotal(those.length);
    await driver.page.getByRole('application').focus();
    await driver.press('ArrowRight', 'ArrowRight', 'ArrowDown');
    await driver.waitUntil(
      (of) => document.querySelector('#colours [role=status]').textContent.includes(` of ${of}`),
      those.length.toLocaleString('en-GB'),
    );
    await driver.press('Enter');
    const photo = await driver.waitForAnyPhoto();
    assert.ok(those.some(({ id }) => id === photo));
  });
});
