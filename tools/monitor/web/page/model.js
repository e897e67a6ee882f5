'use strict';
// What the page knows, without a document: so many lines, what of them is shown, the values.

const MAX_LINES = 100000;
const MAX_CHARACTERS = 30e6; // of all lines
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
    this.characters = 0;
  }

  get end() { return this.first + this.list.length; }
  at(number) { return this.list[number - this.first]; }

  // A line is {time, channel, text}, without a channel when it is the page's own.
  add(line) {
    this.list.push(line);
    this.characters += line.text.length;
    if (this.list.length < MAX_LINES + TRIM_LINES && this.characters < MAX_CHARACTERS) return;
    const trimmed = this.list.splice(0, Math.min(TRIM_LINES, this.list.length >> 1));
    for (const { text } of trimmed) this.characters -= text.length;
    this.first += trimmed.length;
  }
}

// So much is matched at a time.
const BATCH_LINES = 2000;
const BATCH_CHARACTERS = 200000;

// Which lines are shown, and which of those are matches of the search. Looked through in small
// steps, the old lines after a change of the filter as well as those that come.
class Selection {
  constructor(lines, matcher) {
    this.lines = lines;
    this.matcher = matcher;
    this.hiddenChannels = new Set();
    this.patterns = { filter: null, exclude: null, search: null };
    this.isMatching = false;
    this.onTooSlow = () => {}; // with the name of a pattern
    this.restart();
  }

  restart() {
    this.shown = []; // numbers of lines
    this.cursor = this.lines.first;
    this.restartSearch();
  }

  restartSearch() {
    this.goal = this.lines.end;
    this.matches = []; // numbers of lines
    this.searchedTo = 0; // the number of a line
    this.run = {}; // what is found for an earlier one is not wanted any longer
    this.matcher.hurry();
  }

  get isFiltered() { return this.cursor >= this.lines.end; }
  get isSearched() {
    return !this.patterns.search || !this.shown.length || this.shown[this.shown.length - 1] < this.searchedTo;
  }
  get isDone() { return this.isFiltered && this.isSearched; }
  // With what was there when something changed; a busy game is always ahead by a little.
  get isCaughtUp() {
    return this.cursor >= this.goal
      && (!this.patterns.search || firstAtLeast(this.shown, this.searchedTo) >= firstAtLeast(this.shown, this.goal));
  }

  // Goes on until all is looked through or the time is up; false unless all is.
  advance(deadline) {
    this.cursor = Math.max(this.cursor, this.lines.first);
    if (!this.patterns.filter && !this.patterns.exclude) this.addAll(deadline);
    if (!this.isDone && !this.isMatching) this.matchAll();
    return this.isDone;
  }

  isHidden(line) { return line.channel !== undefined && this.hiddenChannels.has(line.channel); }

  // Without patterns that is quick.
  addAll(deadline) {
    while (!this.isFiltered && performance.now() < deadline)
      for (let step = 0; step < 500 && !this.isFiltered; ++step, ++this.cursor)
        if (!this.isHidden(this.lines.at(this.cursor))) this.shown.push(this.cursor);
  }

  async matchAll() {
    this.isMatching = true;
    try {
      // The search goes first, so that it keeps up with a busy game.
      while (!this.isDone)
        if (!this.isSearched) await this.searchSome();
        else if (this.patterns.filter || this.patterns.exclude) await this.filterSome();
        else break;
    } finally {
      this.isMatching = false;
    }
  }

  async filterSome() {
    const { run } = this;
    this.cursor = Math.max(this.cursor, this.lines.first);
    const numbers = [];
    let next = this.cursor;
    for (let size = 0; next < this.lines.end && numbers.length < BATCH_LINES && size < BATCH_CHARACTERS; ++next) {
      const line = this.lines.at(next);
      if (this.isHidden(line)) continue;
      numbers.push(next);
      size += line.text.length;
    }
    const lines = numbers.map((number) => this.lines.at(number));
    const found = await this.match('filter', lines, true);
    const excluded = found && this.run === run && await this.match('exclude', lines, false);
    if (!excluded || this.run !== run) return;
    numbers.forEach((number, index) => {
      // The page's own lines are always shown.
      if (lines[index].channel === undefined || (found[index] && !excluded[index])) this.shown.push(number);
    });
    this.cursor = next;
  }

  async searchSome() {
    const { run } = this;
    const numbers = [];
    for (let place = firstAtLeast(this.shown, this.searchedTo), size = 0;
      place < this.shown.length && numbers.length < BATCH_LINES && size < BATCH_CHARACTERS; ++place) {
      numbers.push(this.shown[place]);
      size += this.lines.at(this.shown[place])?.text.length ?? 0;
    }
    const found = await this.match('search', numbers.map((number) => this.lines.at(number)), false);
    if (!found || this.run !== run) return;
    numbers.forEach((number, index) => { if (found[index]) this.matches.push(number); });
    this.searchedTo = numbers[numbers.length - 1] + 1;
  }

  // For each line whether the pattern is in it, or what is true without one. Null when that takes
  // too long, or is not wanted any longer.
  async match(name, lines, otherwise) {
    const { run } = this;
    if (!this.patterns[name]) return lines.map(() => otherwise);
    const found = await this.matcher.test(this.patterns[name], lines.map((line) => line?.text ?? ''));
    if (!found && this.run === run) this.onTooSlow(name);
    return found;
  }

  // Forgets lines that are no longer there; tells how many of the shown ones that were.
  trim() {
    const removed = firstAtLeast(this.shown, this.lines.first);
    if (removed > 0) {
      this.shown.splice(0, removed);
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

const MAX_HELD_STATE = 5000;

// Events as they come, kept until they are asked for. When they are too many, the lines among the
// older ones go and are counted; of what they say about how things stand the newest stays.
class HeldEvents {
  constructor(maxEvents, maxCharacters) {
    Object.assign(this, { maxEvents, maxCharacters });
    this.batches = []; // {events, characters}
    this.count = 0;
    this.characters = 0;
    this.skipped = 0;
    this.state = new Map(); // events by what they tell about
  }

  add(events, characters) {
    this.batches.push({ events, characters });
    this.count += events.length;
    this.characters += characters;
    while (this.batches.length > 1 && (this.count > this.maxEvents || this.characters > this.maxCharacters))
      this.drop(this.batches.shift());
  }

  drop({ events, characters }) {
    this.count -= events.length;
    this.characters -= characters;
    for (const event of events) {
      const [kind] = event;
      if (kind === 'skipped') this.skipped += event[1];
      else ++this.skipped;
      if (kind === 'connected') this.state.clear(); // it may be another game
      if (kind === 'connected' || kind === 'disconnected') this.state.set('connection', event);
      else if (kind === 'profile') this.state.set(kind, event);
      else if (kind === 'value' && this.state.size < MAX_HELD_STATE)
        this.state.set(`value ${event[2]} ${event[4]}`, event);
    }
  }

  take() {
    const skipped = this.skipped ? [['skipped', this.skipped]] : [];
    return [...skipped, ...this.state.values(), ...this.batches.flatMap(({ events }) => events)];
  }
}
