// How quickly the page answers, and what memory it takes, while many lines a second come:
//
//   tests/web/run BUILD_DIR bench/web/busy.mjs [SECONDS] [LINES_A_SECOND]
//
// The game counts on 100 frames a second and has a few less; what came is printed.
import { inputDelay, openPage, send, startBrowser, startGame, startWatch, waitForText } from './support.mjs';

const seconds = Number(process.argv[2] ?? 60);
const rate = Number(process.argv[3] ?? 6000);

const game = await startGame();
const watch = await startWatch(`127.0.0.1:${game.port}`);
const browser = await startBrowser();
const page = await openPage(browser, watch.url);
await waitForText(page, '#state', /^connected$/);
const devtools = await page.context().newCDPSession(page);
const heapMegabytes = async () => {
  await devtools.send('HeapProfiler.collectGarbage');
  return (await devtools.send('Runtime.getHeapUsage')).usedSize / 1e6;
};

const linesBefore = await page.evaluate(() => app.lines.end);
await send(page, `rate ${rate}`);
const begin = performance.now();
const delays = [];
const heap = [];
while (performance.now() - begin < seconds * 1000) {
  delays.push(await inputDelay(page, delays.length % 4 === 3 ? '' : `line .*${delays.length % 10}$`));
  if (performance.now() - begin > heap.length * 10000) heap.push(await heapMegabytes());
  await new Promise((resolve) => { setTimeout(resolve, 100); });
}
const lines = await page.evaluate(() => app.lines.end) - linesBefore;
heap.push(await heapMegabytes());
await browser.close();
await watch.kill();
await game.kill();

delays.sort((a, b) => a - b);
const at = (share) => delays[Math.min(delays.length - 1, Math.floor(share * delays.length))].toFixed(1);
console.log(`lines shown: ${Math.round(lines / seconds)} a second for ${seconds} s`);
console.log(`input handled within: ${at(0.5)} ms median, ${at(0.99)} ms p99, ${at(1)} ms at worst (${delays.length} times)`);
console.log(`heap every 10 s: ${heap.map((size) => size.toFixed(0)).join(', ')} MB`);
if (Number(at(1)) > 100) {
  console.log('FAILED: more than 100 ms');
  process.exit(1);
}
