'use strict';
// What the page knows, without a document: so many lines, what of them is shown, the values.

const MAX_LINES = 100000;
// Trimming moves the rest of the array: rarely, and then many.
const TRIM_LINES = 10000;

// Control characters would break rows or reorder them; they are spelled out instead.
const CONTROLS = /[\u0000-\u001f\u007f-\u009f\u2028\u2029\u202a-\u202e\u2066-\u2069]/g;

function escapeControls(text) {
  return text.replace(CONTROLS, (character) => {
    const code = character.charCodeAt(0);
    if (character === '\n') return '\\n';
    if (character === '\t') return '\\t';
    return code < 256 ? '\\x' + code.toString(16).padStart(2, '0')
                      : '\\u' + code.toString(16).padStart(4, '0');
  });
}

// A regular expression as typed: case counts only if there are capitals. Null for none; throws
// what is wrong with it.
function toPattern(text, flags = '') {
  if (text === '') return null;
  const ignoresCase = !/\p{Lu}/u.test(text.replace(/\\./g, ''));
  return new RegExp(text, (ignoresCase ? 'i' : '') + flags);
}

// The newest lines, numbered from the first that there ever was.
class Lines {
  constructor() {
    this.list = [];
    this.first = 0; // the number of list[0]
  }

  get end() { return this.first + this.list.length; }
  at(number) { return this.list[number - this.first]; }

  // A line is {time, channel, text}, without a channel when it is the page's own.
  add(line) {
    this.list.push(line);
    if (this.list.length >= MAX_LINES + TRIM_LINES) {
      this.list.splice(0, TRIM_LINES);
      this.first += TRIM_LINES;
    }
  }
}

// Which lines are shown, and which of those are matches of the search. Looked through in small
// steps, the old lines after a change of the filter as well as those that come.
class Selection {
  constructor(lines) {
    this.lines = lines;
    this.hiddenChannels = new Set();
    this.pattern = null;
    this.excluded = null;
    this.search = null;
    this.restart();
  }

  restart() {
    this.shown = []; // numbers of lines
    this.cursor = this.lines.first;
    this.restartSearch();
  }

  restartSearch() {
    this.matches = []; // numbers of lines
    this.searched = 0; // of shown
  }

  passes(line) {
    if (line.channel === undefined) return true;
    return !this.hiddenChannels.has(line.channel)
      && (!this.pattern || this.pattern.test(line.text))
      && !(this.excluded && this.excluded.test(line.text));
  }

  // Goes on until all is looked through or the time is up; false in the latter case.
  advance(deadline) {
    this.cursor = Math.max(this.cursor, this.lines.first);
    while (this.cursor < this.lines.end || this.searched < this.shown.length) {
      for (let step = 0; step < 500 && this.cursor < this.lines.end; ++step, ++this.cursor)
        if (this.passes(this.lines.at(this.cursor))) this.shown.push(this.cursor);
      this.advanceSearch();
      if (performance.now() > deadline) return false;
    }
    return true;
  }

  advanceSearch() {
    if (!this.search) {
      this.searched = this.shown.length;
      return;
    }
    for (let step = 0; step < 500 && this.searched < this.shown.length; ++step, ++this.searched) {
      const line = this.lines.at(this.shown[this.searched]);
      if (line && this.search.test(line.text)) this.matches.push(this.shown[this.searched]);
    }
  }

  // Forgets lines that are no longer there; tells how many of the shown ones that were.
  trim() {
    const removed = firstAtLeast(this.shown, this.lines.first);
    if (removed > 0) {
      this.shown.splice(0, removed);
      this.searched = Math.max(0, this.searched - removed);
      this.matches.splice(0, firstAtLeast(this.matches, this.lines.first));
    }
    return removed;
  }
}

// The place of the first number that is no smaller, in a sorted array.
function firstAtLeast(numbers, wanted) {
  let low = 0;
  let high = numbers.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (numbers[middle] < wanted) low = middle + 1;
    else high = middle;
  }
  return low;
}

// One in-place value and how it went of late.
const SAMPLES = 120;
const SAMPLE_SECONDS = 0.25;

class Value {
  constructor(group, name) {
    this.group = group;
    this.name = name;
    this.text = '';
    this.samples = []; // one every SAMPLE_SECONDS in which it came
    this.sampledAt = -Infinity;
  }

  set(seconds, text) {
    this.text = text;
    const number = parseFloat(text);
    if (!Number.isFinite(number)) return;
    if (seconds - this.sampledAt < SAMPLE_SECONDS) {
      this.samples[this.samples.length - 1] = number;
      return;
    }
    this.sampledAt = seconds;
    this.samples.push(number);
    if (this.samples.length > SAMPLES) this.samples.shift();
  }
}
