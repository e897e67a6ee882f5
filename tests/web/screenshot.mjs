// A picture of the page of a `dm watch --web` that runs:
//
//   tests/web/run BUILD_DIR screenshot.mjs URL FILE.png [light|dark] [profile]
//
// With "profile" it asks the game for one, by request 0, and shows it.
import { openPage, startBrowser } from './support.mjs';

const [url, file, colorScheme = 'light', panel] = process.argv.slice(2);
const browser = await startBrowser();
const page = await openPage(browser, url, { colorScheme, viewport: { width: 1280, height: 800 } });
await page.locator('.line:not([hidden])').first().waitFor();
if (panel === 'profile') {
  await page.click('#profileToggle');
  await page.click('[data-request="0"]');
  await page.waitForFunction(() => app.shownProfile !== null && app.shownProfile === app.newestProfile);
}
// Values come a few times a second, graphs are drawn a little later.
await page.waitForTimeout(1000);
await page.screenshot({ path: file });
await browser.close();
