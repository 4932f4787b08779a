// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { before } from 'node:test';
import { LIBRARY, suite } from './harness.mjs';

suite('statistics', LIBRARY, (context) => {
  const { onPhone, onDesktop } = context;
  let facets;
  before(async () => {
    facets = await context.server.ask('/api/stats');
  });

  onPhone('shows the server’s numbers in cards, charts and lists of links', async (driver) => {
    await driver.open('/?view=statistics');
    await driver.waitForText(facets.totals.total.toLocaleString('en-GB'));
    await driver.waitForDrawings();
    const titles = await driver.page.locator('section.panel h2').allTextContents();
    assert.deepEqual([...titles].sort(), [
      'Albums',
      'Cameras',
      'Colour and black and white',
      'Colours',
      'File sizes',
      'Formats',
      'Labels',
      'Media',
      'Places',
      'Years',
    ]);
    const panel = driver.page.locator('section.panel', { hasText: 'Places' });
    await panel.getByText('As a list').click();
    const [{ id, n }] = facets.top_places;
    const row = panel.locator('li', { hasText: id });
    assert.equal(
      await row.innerText().then((text) => text.replace(/\s+/g, ' ')),
      `${id} ${n.toLocaleString('en-GB')}`,
    );
    await row.getByRole('link').click();
    await driver.waitForTotal(n);
    assert.deepEqual(driver.query(), { place: id });
  });

  onDesktop('a click on a bar filters the gallery', async (driver) => {
    await driver.open('/?view=statistics');
    const canvas = driver.page.locator('section.panel', { hasText: 'Years' }).locator('canvas');
    await driver.waitForDrawings();
    const { x, y, width, height } = await canvas.boundingBox();
    await driver.page.mouse.click(x + width - 30, y + height - 40);
    const { id, n } = facets.by_year.at(-1);
    await driver.waitForTotal(n);
    assert.deepEqual(await driver.chips(), [id]);
  });

  onDesktop('shows lists when the chart library can’t be loaded', async (driver) => {
    await driver.page.route('**/vendor/*', (route) => route.abort());
    await driver.open('/?view=statistics');
    await driver.waitForText('The charts couldn’t be loaded');
    await driver.link(facets.by_year[0].id);
    await driver.waitForTotal(facets.by_year[0].n);
  });
});
