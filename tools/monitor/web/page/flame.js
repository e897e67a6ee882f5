'use strict';
// A profile as a flame chart, a canvas a thread: time goes right, what is called goes down.

const ZONE_HEIGHT = 18;
const FRAME_HEIGHT = 6;
const NAME_WIDTH = 150; // as in style.css
const SHORTEST_SPAN = 0.1; // microseconds
const SHOWN_FRAMES = 3;

function formatTime(microseconds) {
  const size = Math.abs(microseconds);
  if (size >= 1e6) return `${(microseconds / 1e6).toFixed(3)} s`;
  if (size >= 1e3) return `${(microseconds / 1e3).toFixed(3)} ms`;
  return `${microseconds.toFixed(size >= 10 ? 1 : 3)} µs`;
}

// A moment, exact enough to tell it from one that is `step` away.
function formatMoment(microseconds, step) {
  const [unit, size] = step >= 1e6 ? ['s', 1e6] : step >= 1 ? ['ms', 1e3] : ['µs', 1];
  const digits = Math.max(0, Math.ceil(-Math.log10(step / size) - 1e-9));
  return `${(microseconds / size).toLocaleString('en', { minimumFractionDigits: digits, maximumFractionDigits: digits })} ${unit}`;
}

// 1, 2 or 5 times a power of ten.
function roundUp(number) {
  const power = 10 ** Math.floor(Math.log10(number));
  return power * [1, 2, 5, 10].find((factor) => factor * power >= number);
}

class FlameThread {
  constructor(source, names) {
    const count = source.zones.length / 4;
    this.source = source;
    this.names = names;
    this.name = escapeControls(source.name) || `thread ${source.id}`;
    this.nameIds = new Uint32Array(count);
    this.depths = new Uint16Array(count);
    this.begins = new Float64Array(count);
    this.lengths = new Float64Array(count);
    this.deepest = 0;
    for (let i = 0; i < count; ++i) {
      this.nameIds[i] = source.zones[4 * i];
      this.depths[i] = source.zones[4 * i + 1];
      this.begins[i] = source.zones[4 * i + 2];
      this.lengths[i] = source.zones[4 * i + 3];
      this.deepest = Math.max(this.deepest, this.depths[i]);
    }
    this.frames = source.frames;
    this.height = FRAME_HEIGHT + (this.deepest + 1) * ZONE_HEIGHT + 4;
  }

  makeElement() {
    this.element = document.createElement('div');
    this.element.className = 'thread';
    const label = document.createElement('div');
    label.className = 'name';
    label.textContent = this.name;
    label.title = this.name;
    const details = document.createElement('small');
    details.textContent = `${this.begins.length.toLocaleString('en')} zones${this.source.ended ? ', ended' : ''}`;
    label.append(details);
    this.canvas = document.createElement('canvas');
    this.canvas.style.height = `${this.height}px`;
    this.element.append(label, this.canvas);
    return this.element;
  }

  zoneAt(time, y) {
    const depth = Math.floor((y - FRAME_HEIGHT) / ZONE_HEIGHT);
    for (let i = 0; i < this.begins.length; ++i)
      if (this.depths[i] === depth && this.begins[i] <= time && time <= this.begins[i] + this.lengths[i])
        return i;
    return -1;
  }

  draw(view, colors) {
    const width = this.canvas.clientWidth;
    const context = prepareCanvas(this.canvas, width, this.height);
    const scale = width / view.span;
    context.fillStyle = colors.soft;
    for (const frame of this.frames) {
      const x = (frame - view.start) * scale;
      if (x >= 0 && x <= width) context.fillRect(Math.round(x), 0, 1, FRAME_HEIGHT - 1);
    }
    context.font = '11px system-ui, sans-serif';
    context.textBaseline = 'middle';
    const drawnTo = new Float64Array(this.deepest + 1).fill(-Infinity);
    for (let i = 0; i < this.begins.length; ++i) {
      const left = Math.max((this.begins[i] - view.start) * scale, -1);
      const right = Math.min((this.begins[i] + this.lengths[i] - view.start) * scale, width + 1);
      // What is thinner than a pixel is drawn once a pixel.
      if (right < 0 || left > width || right <= drawnTo[this.depths[i]]) continue;
      const end = Math.max(right, left + 1);
      drawnTo[this.depths[i]] = end;
      this.drawZone(context, i, left, end, colors);
    }
  }

  drawZone(context, zone, left, right, colors) {
    const name = this.names[this.nameIds[zone]];
    const top = FRAME_HEIGHT + this.depths[zone] * ZONE_HEIGHT;
    const width = right - left;
    context.fillStyle = colors.zone(name);
    context.fillRect(left, top, width > 3 ? width - 1 : width, ZONE_HEIGHT - 1);
    const letters = Math.floor((width - 8) / 6);
    if (letters < 2) return;
    context.fillStyle = colors.zoneText;
    const shown = name.length > letters ? name.slice(0, letters - 1) + '…' : name;
    context.fillText(shown, left + 4, top + ZONE_HEIGHT / 2);
  }
}

class FlameView {
  constructor() {
    this.box = byId('threads');
    this.ruler = byId('ruler');
    this.tooltip = byId('tooltip');
    this.threads = [];
    this.profile = null;
    this.view = { start: 0, span: 1 };
    this.frame = 0;
    this.onTouched = () => {}; // somebody looks closely: a new profile would be in the way
    this.connectInputs();
    new ResizeObserver(() => this.draw()).observe(this.box);
  }

  connectInputs() {
    this.box.addEventListener('scroll', () => this.draw());
    this.box.addEventListener('wheel', (event) => this.wheel(event), { passive: false });
    this.box.addEventListener('pointerdown', (event) => this.startDrag(event));
    this.box.addEventListener('pointermove', (event) => this.pointerMoved(event));
    this.box.addEventListener('pointerup', () => { this.dragged = null; });
    this.box.addEventListener('pointerleave', () => { this.tooltip.hidden = true; });
    this.box.addEventListener('dblclick', (event) => this.showZone(event));
    this.box.addEventListener('keydown', (event) => this.key(event));
    byId('zoomIn').addEventListener('click', () => this.zoom(0.5));
    byId('zoomOut').addEventListener('click', () => this.zoom(2));
    byId('fit').addEventListener('click', () => this.fit());
  }

  // The thread, time and zone under the pointer; nothing beside a chart.
  under(event) {
    const thread = this.threads.find(({ canvas }) => canvas === event.target);
    if (!thread) return null;
    const place = thread.canvas.getBoundingClientRect();
    const share = (event.clientX - place.left) / place.width;
    const time = this.view.start + share * this.view.span;
    return { thread, share, time, zone: thread.zoneAt(time, event.clientY - place.top) };
  }

  show(profile) {
    this.profile = profile;
    const names = profile.names.map(escapeControls);
    this.threads = profile.threads.map((thread) => new FlameThread(thread, names));
    this.box.replaceChildren(...this.threads.map((thread) => thread.makeElement()));
    this.tooltip.hidden = true;
    this.showNewest();
  }

  // The last few frames, where there are any: all of it at once is often a blur.
  showNewest() {
    const frames = this.threads.map((thread) => thread.frames)
      .reduce((most, some) => (some.length > most.length ? some : most), []);
    const whole = Math.max(this.profile.microseconds, SHORTEST_SPAN);
    const start = frames.length > SHOWN_FRAMES ? frames[frames.length - SHOWN_FRAMES] : 0;
    this.view = { start, span: Math.max(whole - start, SHORTEST_SPAN) };
    this.draw();
  }

  fit() {
    if (this.profile) this.moveTo(0, this.profile.microseconds);
  }

  moveTo(start, span) {
    if (!this.profile) return;
    this.onTouched();
    const whole = Math.max(this.profile.microseconds, SHORTEST_SPAN);
    span = Math.min(Math.max(span, SHORTEST_SPAN), whole);
    this.view = { start: Math.min(Math.max(start, 0), whole - span), span };
    this.draw();
  }

  // About a point that stays where it is, given as its share of the width.
  zoom(factor, share = 0.5) {
    const { start, span } = this.view;
    const zoomed = Math.min(Math.max(span * factor, SHORTEST_SPAN), this.profile?.microseconds || 1);
    this.moveTo(start + share * (span - zoomed), zoomed);
  }

  wheel(event) {
    const under = this.under(event);
    if (!under || event.shiftKey) return; // the list of threads scrolls
    event.preventDefault();
    if (Math.abs(event.deltaX) > Math.abs(event.deltaY))
      this.moveTo(this.view.start + event.deltaX / 1000 * this.view.span, this.view.span);
    else
      this.zoom(Math.exp(Math.min(Math.max(event.deltaY, -300), 300) * 0.002), under.share);
  }

  startDrag(event) {
    const under = this.under(event);
    if (!under || event.button !== 0) return;
    this.dragged = { x: event.clientX, start: this.view.start };
    under.thread.canvas.setPointerCapture(event.pointerId);
  }

  pointerMoved(event) {
    if (this.dragged && event.buttons & 1) {
      const width = this.threads[0].canvas.clientWidth;
      const moved = (event.clientX - this.dragged.x) / width * this.view.span;
      if (event.clientX !== this.dragged.x) this.moveTo(this.dragged.start - moved, this.view.span);
      this.tooltip.hidden = true;
      return;
    }
    this.showTooltip(event);
  }

  showTooltip(event) {
    const under = this.under(event);
    this.tooltip.hidden = !under || under.zone < 0;
    if (this.tooltip.hidden) return;
    const { thread, zone } = under;
    this.tooltip.textContent = `${thread.names[thread.nameIds[zone]]}\n`
      + `${formatTime(thread.lengths[zone])}, from ${formatMoment(thread.begins[zone], 1)} on\n`
      + `${thread.name}, depth ${thread.depths[zone]}`;
    const { width, height } = this.tooltip.getBoundingClientRect();
    this.tooltip.style.left = `${Math.max(4, Math.min(event.clientX + 14, innerWidth - width - 4))}px`;
    this.tooltip.style.top = `${Math.max(4, Math.min(event.clientY + 16, innerHeight - height - 4))}px`;
  }

  showZone(event) {
    const under = this.under(event);
    if (!under || under.zone < 0) return;
    const length = Math.max(under.thread.lengths[under.zone], SHORTEST_SPAN);
    this.moveTo(under.thread.begins[under.zone] - 0.05 * length, 1.1 * length);
  }

  key(event) {
    const { start, span } = this.view;
    const actions = {
      ArrowLeft: () => this.moveTo(start - span / 8, span),
      ArrowRight: () => this.moveTo(start + span / 8, span),
      '+': () => this.zoom(0.5),
      '-': () => this.zoom(2),
      0: () => this.fit(),
    };
    if (!actions[event.key] || event.ctrlKey || event.metaKey || event.altKey) return;
    event.preventDefault();
    actions[event.key]();
  }

  draw() {
    if (!this.frame) this.frame = requestAnimationFrame(() => this.drawNow());
  }

  drawNow() {
    this.frame = 0;
    byId('noProfile').hidden = this.threads.length > 0;
    this.box.hidden = this.ruler.hidden = this.threads.length === 0;
    if (this.box.hidden || this.box.clientHeight === 0) return;
    const colors = this.colors();
    this.drawRuler(colors);
    const sight = this.box.getBoundingClientRect();
    for (const thread of this.threads) {
      const place = thread.element.getBoundingClientRect();
      if (place.bottom >= sight.top && place.top <= sight.bottom) thread.draw(this.view, colors);
      else thread.canvas.width = 0; // out of sight it takes no memory
    }
  }

  colors() {
    const lightness = cssColor('--zoneLightness');
    const known = new Map();
    const zone = (name) => {
      if (!known.has(name)) {
        let hash = 7;
        for (let i = 0; i < name.length; ++i) hash = (hash * 31 + name.charCodeAt(i)) >>> 0;
        known.set(name, `hsl(${(hash * 137.508) % 360} 52% ${lightness})`);
      }
      return known.get(name);
    };
    return { zone, zoneText: cssColor('--zoneText'), soft: cssColor('--soft'), edge: cssColor('--edge') };
  }

  drawRuler(colors) {
    const left = NAME_WIDTH;
    const width = this.threads[0].canvas.clientWidth;
    const context = prepareCanvas(this.ruler, this.ruler.clientWidth, 22);
    const step = roundUp(this.view.span * 90 / width);
    context.font = '11px system-ui, sans-serif';
    context.textBaseline = 'middle';
    for (let time = Math.ceil(this.view.start / step) * step; time <= this.view.start + this.view.span; time += step) {
      const x = left + (time - this.view.start) / this.view.span * width;
      context.fillStyle = colors.edge;
      context.fillRect(Math.round(x), 12, 1, 10);
      context.fillStyle = colors.soft;
      context.fillText(formatMoment(time, step), x + 4, 11);
    }
  }
}
