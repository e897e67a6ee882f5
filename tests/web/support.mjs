// A game, `dm watch` and a browser for the tests of the page.
import { spawn } from 'node:child_process';
import { createInterface } from 'node:readline';
import path from 'node:path';
import { chromium } from 'playwright-core';

const build = path.resolve(process.env.DM_BUILD ?? 'build');

// Long enough for a busy machine; only a failing test waits it out.
export const LONG = 30000;

// A script that fails on its way leaves none behind.
const children = new Set();
process.once('exit', () => children.forEach((child) => child.kill('SIGKILL')));

// Resolves when the program has printed a line that matches, with what the pattern found in it.
function start(program, words, stream, pattern) {
  const child = spawn(path.join(build, 'bin', program), words, { stdio: ['ignore', 'pipe', 'pipe'] });
  children.add(child);
  child.once('exit', () => children.delete(child));
  child[stream === 'stdout' ? 'stderr' : 'stdout'].resume();
  return new Promise((resolve, reject) => {
    child.once('error', reject);
    child.once('exit', (code) => reject(new Error(`${program} ended with ${code}`)));
    createInterface({ input: child[stream] }).on('line', (line) => {
      const match = line.match(pattern);
      if (match) resolve({ child, found: match[1] });
    });
  });
}

export async function startGame(port = 0) {
  const { child, found } = await start('dm_watched_game', [port], 'stdout', /playing on .*:(\d+)/);
  return { port: found, kill: () => end(child) };
}

export async function startWatch(...words) {
  const { child, found } = await start('dm', ['watch', ...words, '--web'], 'stderr', /page is (\S+)/);
  return { url: found, kill: () => end(child) };
}

function end(child) {
  const ended = new Promise((resolve) => { child.once('exit', resolve); });
  if (child.exitCode !== null || child.signalCode !== null) return undefined;
  child.kill('SIGKILL');
  return ended;
}

export function startBrowser() {
  // Nothing but the page is to be fetched from anywhere.
  const quiet = ['--disable-quic', '--no-first-run', '--disable-background-networking',
    '--disable-component-update', '--disable-sync', '--disable-gpu'];
  const root = process.getuid() === 0 ? ['--no-sandbox'] : [];
  return chromium.launch({
    executablePath: process.env.DM_CHROMIUM,
    args: [...quiet, ...root],
  });
}

// Collects what must never happen on the page.
export async function openPage(browser, url, options = {}) {
  const context = await browser.newContext({ viewport: { width: 1280, height: 800 }, ...options });
  context.setDefaultTimeout(LONG);
  const page = await context.newPage();
  page.errors = [];
  page.on('pageerror', (error) => page.errors.push(error.message));
  page.on('console', (message) => {
    if (message.type() === 'error' && !message.text().includes('ERR_')) page.errors.push(message.text());
  });
  await page.goto(url);
  return page;
}

export async function send(page, data) {
  await page.fill('#data', data);
  await page.click('#dataForm button');
}

// The lines in sight.
export function linesOf(page) {
  return page.locator('.line:not([hidden]) .text').allTextContents();
}

export function waitForLine(page, text) {
  return page.locator('.line:not([hidden]) .text', { hasText: text }).first().waitFor();
}

export function waitForText(page, selector, text) {
  return page.locator(selector).filter({ hasText: text }).waitFor();
}

// Milliseconds from a change of the filter until the page has drawn what it shows then.
export function inputDelay(page, pattern) {
  return page.evaluate((text) => new Promise((resolve) => {
    const begin = performance.now();
    // As a key press would come: behind what the browser is busy with.
    setTimeout(() => {
      byId('filter').value = text;
      byId('filter').dispatchEvent(new Event('input'));
      requestAnimationFrame(() => setTimeout(() => resolve(performance.now() - begin)));
    });
  }), pattern);
}
