'use strict';
// The page as one file that opens without dm: the page's own files put into it, and what it shows.

const SCRIPTS = ['model.js', 'log.js', 'statistics.js', 'flame.js', 'save.js', 'app.js'];

async function fetchText(name) {
  const response = await fetch(name);
  if (!response.ok) throw new Error((await response.text()).trim());
  return response.text();
}

// Fetched when the page opens: when it is saved, dm may be gone.
async function fetchParts() {
  const [html, style, ...scripts] = await Promise.all(['./', 'style.css', ...SCRIPTS].map(fetchText));
  return { html, style, scripts };
}

async function hashOf(text) {
  const digest = await crypto.subtle.digest('SHA-256', new TextEncoder().encode(text));
  return `'sha256-${btoa(String.fromCharCode(...new Uint8Array(digest)))}'`;
}

// In a script element text ends at "</script", whatever the script is; JSON can do without "<".
function toEmbeddedJson(state) {
  return JSON.stringify(state).replace(/</g, '\\u003c');
}

async function makeSavedPage(parts, state) {
  const scriptHashes = await Promise.all(parts.scripts.map(hashOf));
  const policy = `default-src 'none'; script-src ${scriptHashes.join(' ')}; `
    + `style-src ${await hashOf(parts.style)}; img-src data:; base-uri 'none'; form-action 'none'`;
  let html = parts.html;
  const put = (from, to) => { html = html.replace(from, () => to); };
  put('<meta charset="utf-8">',
    `<meta charset="utf-8">\n<meta http-equiv="Content-Security-Policy" content="${policy}">`);
  put('<link rel="stylesheet" href="style.css">', `<style>${parts.style}</style>`);
  put('<script src=', `<script type="application/json" id="saved">${toEmbeddedJson(state)}</script>\n<script src=`);
  SCRIPTS.forEach((name, index) =>
    put(`<script src="${name}"></script>`, `<script>${parts.scripts[index]}</script>`));
  return html;
}

function download(name, type, content) {
  const link = document.createElement('a');
  link.href = URL.createObjectURL(new Blob([content], { type }));
  link.download = name;
  link.click();
  // Chromium reads it after the click has returned.
  setTimeout(() => URL.revokeObjectURL(link.href), 60000);
}

function savedState(source, lines, statistics, profile) {
  return {
    source,
    savedAt: Date.now(),
    lines: lines.list.map(({ time, channel, text }) => [time, channel ?? null, text]),
    values: statistics.all().map(({ groupName, value }) =>
      [value.group, groupName, value.name, value.text, value.samples]),
    profile,
  };
}
