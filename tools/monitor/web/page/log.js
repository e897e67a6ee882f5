'use strict';
// The lines of text: only the rows in sight exist, however many lines there are.

const ROW_HEIGHT = 20; // as in style.css
const MAX_CHANNEL_BUTTONS = 48;
// So long a frame may spend on filtering; the rest of it is for drawing and for input.
const FILTER_MILLISECONDS = 8;
// After a change, what was shown stays for so long unless what is to be shown is known.
const CHANGE_MILLISECONDS = 150;

class LogView {
  constructor(lines) {
    this.lines = lines;
    this.matcher = new Matcher();
    this.selection = new Selection(lines, this.matcher);
    this.selection.onTooSlow = (name) => this.refuse(name, 'this takes too long on some line');
    this.box = byId('lines');
    this.space = byId('space');
    this.rows = [];
    this.isFollowing = true;
    this.current = null; // the number of the line that the search has gone to
    this.channels = new Map();
    this.frame = 0;
    this.removed = 0; // of the shown lines, since they were drawn
    this.emptyText = '';
    this.errors = new Map(); // what is wrong with a pattern, by its input's id
    this.found = new WeakMap(); // where the search is found in a line
    this.connectInputs();
    new ResizeObserver(() => this.draw()).observe(this.box);
  }

  connectInputs() {
    for (const name of ['filter', 'exclude', 'search'])
      byId(name).addEventListener('input', () => this.takePattern(name));
    byId('search').addEventListener('keydown', (event) => {
      if (event.key === 'Enter') this.goToMatch(event.shiftKey ? -1 : 1);
    });
    byId('previous').addEventListener('click', () => this.goToMatch(-1));
    byId('next').addEventListener('click', () => this.goToMatch(1));
    byId('newest').addEventListener('click', () => { this.isFollowing = true; this.draw(); });
    this.box.addEventListener('scroll', () => this.scrolled());
  }

  takePattern(name) {
    try {
      this.usePattern(name, toPattern(byId(name).value));
      this.tellError(name, '');
    } catch (error) {
      this.tellError(name, error.message); // what is shown stays as it was
    }
  }

  refuse(name, why) {
    this.usePattern(name, null);
    this.tellError(name, why);
  }

  usePattern(name, pattern) {
    this.selection.patterns[name] = pattern;
    if (name !== 'search') {
      this.refilter();
      return;
    }
    this.selection.restartSearch();
    this.changedAt = performance.now();
    this.found = new WeakMap();
    this.current = null;
    this.goesToMatch = pattern !== null;
    this.draw();
  }

  tellError(name, error) {
    this.errors.set(name, error && `${byId(name).dataset.name}: ${error}`);
    if (error) byId(name).setAttribute('aria-invalid', 'true');
    else byId(name).removeAttribute('aria-invalid');
    const all = [...this.errors.values()].filter((text) => text);
    byId('patternError').hidden = all.length === 0;
    setText(byId('patternError'), all.join(' · '));
  }

  add(line) {
    this.lines.add(line);
    if (line.channel !== undefined) this.countChannel(line.channel);
    this.draw();
  }

  countChannel(channel) {
    if (this.channels.has(channel)) return;
    if (this.channels.size >= MAX_CHANNEL_BUTTONS) return; // its lines are always shown
    const button = document.createElement('button');
    button.type = 'button';
    button.textContent = channel;
    button.dataset.channel = channel;
    button.setAttribute('aria-pressed', 'true');
    button.title = `Hide or show channel ${channel}; a double click shows it alone`;
    button.addEventListener('click', () => this.toggleChannels([channel]));
    button.addEventListener('dblclick', () => this.showAlone(channel));
    this.channels.set(channel, button);
    const later = [...this.channels.keys()].filter((other) => other > channel).sort((a, b) => a - b);
    byId('channels').insertBefore(button, later.length ? this.channels.get(later[0]) : null);
  }

  toggleChannels(channels) {
    const hidden = this.selection.hiddenChannels;
    for (const channel of channels)
      if (!hidden.delete(channel)) hidden.add(channel);
    for (const [channel, button] of this.channels)
      button.setAttribute('aria-pressed', String(!hidden.has(channel)));
    this.refilter();
  }

  // A second double click shows all again.
  showAlone(channel) {
    const hidden = this.selection.hiddenChannels;
    const others = [...this.channels.keys()].filter((other) => other !== channel);
    const isAlone = !hidden.has(channel) && others.every((other) => hidden.has(other));
    hidden.clear();
    this.toggleChannels(isAlone ? [] : others);
  }

  // What was in sight stays there if it is still shown.
  refilter() {
    const top = Math.floor(this.box.scrollTop / ROW_HEIGHT);
    this.anchor = this.isFollowing ? null : this.selection.shown[top] ?? null;
    this.selection.restart();
    this.changedAt = performance.now();
    this.draw();
  }

  scrolled() {
    const rest = this.box.scrollHeight - this.box.clientHeight - this.box.scrollTop;
    if (this.box.scrollTop !== this.ownScrollTop) this.isFollowing = rest < ROW_HEIGHT;
    this.draw();
  }

  scrollTo(top) {
    this.box.scrollTop = top;
    this.ownScrollTop = this.box.scrollTop; // as rounded: a later scroll event may be of this one
  }

  goToMatch(direction) {
    const { matches, shown } = this.selection;
    if (matches.length === 0) return;
    let place;
    if (this.current === null) {
      // From what is in sight, backwards to the newest when following.
      const row = Math.floor((this.box.scrollTop + this.box.clientHeight / 2) / ROW_HEIGHT);
      place = firstAtLeast(matches, shown[Math.min(row, shown.length - 1)] ?? 0);
      if (this.isFollowing) place = matches.length - 1;
      else if (direction < 0) --place;
    } else {
      place = firstAtLeast(matches, this.current);
      if (direction > 0 && matches[place] === this.current) ++place;
      if (direction < 0) --place;
    }
    this.current = matches[(place + matches.length) % matches.length];
    this.isFollowing = false;
    const row = firstAtLeast(shown, this.current);
    this.setHeight();
    this.scrollTo(row * ROW_HEIGHT - this.box.clientHeight / 2);
    this.draw();
  }

  draw() {
    if (!this.frame) this.frame = requestAnimationFrame(() => this.drawNow());
  }

  drawNow() {
    this.frame = 0;
    this.removed += this.selection.trim();
    const isDone = this.selection.advance(performance.now() + FILTER_MILLISECONDS);
    if (!isDone) this.draw();
    const { isCaughtUp } = this.selection;
    if (!isCaughtUp && performance.now() < this.changedAt + CHANGE_MILLISECONDS) return;
    this.setHeight();
    if (this.isFollowing) {
      this.scrollTo(this.box.scrollHeight);
    } else if (this.removed > 0) {
      this.scrollTo(Math.max(0, this.box.scrollTop - this.removed * ROW_HEIGHT));
    }
    this.removed = 0;
    if (isCaughtUp) this.finishChange();
    this.drawRows();
    this.drawCounts(isCaughtUp);
  }

  finishChange() {
    if (this.anchor !== null && this.anchor !== undefined) {
      this.scrollTo(firstAtLeast(this.selection.shown, this.anchor) * ROW_HEIGHT);
      this.anchor = null;
    }
    if (this.goesToMatch) {
      this.goesToMatch = false;
      this.goToMatch(1);
    }
  }

  setHeight() {
    this.space.style.height = `${this.selection.shown.length * ROW_HEIGHT}px`;
  }

  drawRows() {
    const { shown } = this.selection;
    const first = Math.max(0, Math.floor(this.box.scrollTop / ROW_HEIGHT));
    const count = Math.min(Math.ceil(this.box.clientHeight / ROW_HEIGHT) + 1, shown.length - first);
    while (this.rows.length < count) this.rows.push(new LogRow(this.box));
    this.rows.forEach((row, index) => {
      const number = index < count ? shown[first + index] : undefined;
      const line = number === undefined ? undefined : this.lines.at(number);
      row.show(line, (first + index) * ROW_HEIGHT, line && this.found.get(line), number === this.current);
    });
    this.findInSight();
  }

  async findInSight() {
    const { search } = this.selection.patterns;
    const lines = this.rows.map((row) => row.line).filter((line) => line && !this.found.has(line));
    if (!search || this.isFinding || lines.length === 0) return;
    this.isFinding = true;
    const { found } = this;
    const ranges = await this.matcher.find(search, lines.map((line) => line.text));
    this.isFinding = false;
    // What takes too long here does so for the search itself, which says so.
    lines.forEach((line, index) => found.set(line, ranges?.[index] ?? []));
    this.drawRows();
  }

  drawCounts(isCaughtUp) {
    const { shown, matches, patterns: { search } } = this.selection;
    const all = this.lines.list.length;
    const some = shown.length === all ? '' : `${shown.length.toLocaleString('en')} of `;
    setText(byId('count'), `${some}${all.toLocaleString('en')} ${all === 1 ? 'line' : 'lines'}${isCaughtUp ? '' : ' …'}`);
    const place = this.current === null ? '' : `${firstAtLeast(matches, this.current) + 1} of `;
    setText(byId('found'), !search ? '' : matches.length ? place + matches.length : 'none');
    byId('previous').disabled = byId('next').disabled = matches.length === 0;
    byId('newest').hidden = this.isFollowing || shown.length === 0;
    // Without a line of the game's there is room to say what is waited for.
    byId('empty').hidden = this.channels.size > 0 && shown.length > 0;
    setText(byId('empty'), this.channels.size > 0 ? 'No line passes the filters.' : this.emptyText);
  }
}

class LogRow {
  constructor(box) {
    this.element = document.createElement('div');
    this.element.className = 'line';
    [this.time, this.channel, this.text] = ['time', 'channel', 'text'].map((name) => {
      const part = document.createElement('span');
      part.className = name;
      this.element.append(part);
      return part;
    });
    box.append(this.element);
  }

  show(line, top, ranges, isCurrent) {
    this.element.hidden = !line;
    if (!line) {
      this.line = undefined;
      return;
    }
    this.element.style.top = `${top}px`;
    if (this.line === line && this.ranges === ranges && this.isCurrent === isCurrent) return;
    [this.line, this.ranges, this.isCurrent] = [line, ranges, isCurrent];
    this.element.className = 'line' + (line.channel === undefined ? ' note' : '')
      + (isCurrent ? ' current' : '');
    this.time.textContent = line.time.toFixed(3);
    this.channel.textContent = line.channel ?? '';
    this.text.replaceChildren(...(ranges ? this.marked(line.text, ranges) : [line.text]));
  }

  // Strings and mark elements: whatever the text is, it stays text.
  marked(text, ranges) {
    const parts = [];
    let end = 0;
    for (const [begin, nextEnd] of ranges) {
      if (begin === nextEnd) continue;
      const mark = document.createElement('mark');
      mark.textContent = text.slice(begin, nextEnd);
      parts.push(text.slice(end, begin), mark);
      end = nextEnd;
    }
    parts.push(text.slice(end));
    return parts;
  }
}
