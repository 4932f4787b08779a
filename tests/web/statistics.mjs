// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { before } from 'node:test';
import { at, LIBRARY } from './stage.mjs';

at('statistics', LIBRARY, (place) => {
  const { story, onDesktop } = place;
  let facets;
  before(async () => {
    facets = await place.gallery.ask('/api/stats');
  });

  story('the numbers of the server, in cards, charts and lists', async (visitor) => {
    await visitor.open('/?view=statistics');
    await visitor.sees(facets.totals.total.toLocaleString('en-GB'));
    await visitor.seesDrawings();
    const titles = await visitor.page.locator('section.panel h2').allTextContents();
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
    const panel = visitor.page.locator('section.panel', { hasText: 'Places' });
    await panel.getByText('As a list').click();
    const [{ id, n }] = facets.top_places;
    const row = panel.locator('li', { hasText: id });
    assert.equal(
      await row.innerText().then((text) => text.replace(/\s+/g, ' ')),
      `${id} ${n.toLocaleString('en-GB')}`,
    );
    await row.getByRole('link').click();
    await visitor.seesTotal(n);
    assert.deepEqual(visitor.query(), { place: id });
  });

  onDesktop('a press on a bar filters the gallery', async (visitor) => {
    await visitor.open('/?view=statistics');
    const canvas = visitor.page.locator('section.panel', { hasText: 'Years' }).locator('canvas');
    await visitor.seesDrawings();
    const { x, y, width, height } = await canvas.boundingBox();
    await visitor.page.mouse.click(x + width - 30, y + height - 40);
    const { id, n } = facets.by_year.at(-1);
    await visitor.seesTotal(n);
    assert.deepEqual(await visitor.chips(), [id]);
  });

  onDesktop('without the chart library there are lists', async (visitor) => {
    await visitor.page.route('**/vendor/*', (route) => route.abort());
    await visitor.open('/?view=statistics');
    await visitor.sees('The charts couldn’t be loaded');
    await visitor.link(facets.by_year[0].id);
    await visitor.seesTotal(facets.by_year[0].n);
  });
});
