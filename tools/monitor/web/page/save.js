'use strict';
// The page as one file that opens without dm: the page's own files put into it, and what it shows.

async function fetchText(name) {
  const response = await fetch(name);
  if (!response.ok) throw new Error((await response.text()).trim());
  return response.text();
}

// Fetched when the page opens: when it is saved, dm may be gone.
async function fetchParts() {
  const [html, style] = await Promise.all(['./', 'style.css'].map(fetchText));
  const names = [...html.matchAll(/<script src="([^"]+)">/g)].map(([, name]) => name);
  return { html, style, names, scripts: await Promise.all(names.map(fetchText)) };
}

async function hashOf(text) {
  const digest = await crypto.subtle.digest('SHA-256', new TextEncoder().encode(text));
  return `'sha256-${btoa(String.fromCharCode(...new Uint8Array(digest)))}'`;
}

// A script element ends where its end tag first stands, also within a string or a comment.
function toEmbeddedScript(script) {
  return script.replace(/<\/script/gi, '<\\/script');
}

function toEmbeddedJson(state) {
  return JSON.stringify(state).replace(/</g, '\\u003c');
}

async function makeSavedPage(parts, state) {
  const scripts = parts.scripts.map(toEmbeddedScript);
  const policy = `default-src 'none'; script-src ${(await Promise.all(scripts.map(hashOf))).join(' ')}; `
    + `style-src ${await hashOf(parts.style)}; worker-src blob:; img-src data:; base-uri 'none'; form-action 'none'`;
  const data = `<script type="application/json" id="saved">${toEmbeddedJson(state)}</script>\n`;
  // In one pass, so that nothing is looked for in what was put in.
  return parts.html.replace(
    /(<meta charset="utf-8">)|(<link rel="stylesheet" href="style.css">)|<script src="([^"]+)"><\/script>/g,
    (found, charset, style, name) => {
      if (charset) return `${charset}\n<meta http-equiv="Content-Security-Policy" content="${policy}">`;
      if (style) return `<style>${parts.style}</style>`;
      const number = parts.names.indexOf(name);
      return `${number === 0 ? data : ''}<script>${scripts[number]}</script>`;
    });
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
