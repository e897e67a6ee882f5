// A picture of the page of a `dm watch --web` that runs:
//
//   tests/web/run BUILD_DIR tools/demo/screenshot.mjs URL FILE.png [light|dark] [profile|-] [SEARCH]
//
// With "profile" it asks the game for one, by request 0, and points at a zone of it; SEARCH is
// typed into the search.
import { openPage, startBrowser } from './support.mjs';

const [url, file, colorScheme = 'light', panel, search] = process.argv.slice(2);
const browser = await startBrowser();
const page = await openPage(browser, url, { colorScheme, viewport: { width: 1400, height: 900 } });
await page.locator('.line:not([hidden])').first().waitFor();
if (panel === 'profile') {
  await page.click('#profileToggle');
  await page.click('[data-request="0"]');
  await page.waitForFunction(() => app.shownProfile !== null && app.shownProfile === app.newestProfile);
}
if (search) await page.fill('#search', search);
// Values come a few times a second, graphs are drawn a little later.
await page.waitForTimeout(1000);
if (panel === 'profile') {
  const zone = await page.evaluate(() => {
    const thread = app.flame.threads.reduce((most, some) => (some.begins.length > most.begins.length ? some : most));
    const { left, top } = thread.canvas.getBoundingClientRect();
    return { left, top };
  });
  // The first of the frames shown begins at the left.
  await page.mouse.move(zone.left + 8, zone.top + 14);
}
await page.screenshot({ path: file });
await browser.close();
