'use strict';
// The in-place values, by group and name, each with a small graph.

const MAX_VALUES = 1000;
const DRAW_INTERVAL_MILLISECONDS = 200;

class StatisticsView {
  constructor() {
    this.groups = new Map(); // number to {name, element, values}
    this.count = 0;
    this.changed = new Set();
    this.box = byId('groups');
    this.empty = this.box.firstElementChild;
    this.timer = 0;
  }

  set(seconds, groupNumber, groupName, name, text) {
    const group = this.groups.get(groupNumber) ?? this.addGroup(groupNumber, groupName);
    let entry = group.values.get(name);
    if (!entry) {
      if (this.count >= MAX_VALUES) return;
      entry = this.addValue(group, groupNumber, name);
    }
    entry.value.set(seconds, text);
    this.change(entry);
  }

  change(entry) {
    this.changed.add(entry);
    this.timer ||= setTimeout(() => requestAnimationFrame(() => this.draw()),
      DRAW_INTERVAL_MILLISECONDS);
  }

  addGroup(number, name) {
    const element = document.createElement('div');
    const title = document.createElement('h3');
    // Groups without a name of their own are told apart by their numbers.
    title.textContent = name.startsWith('Unknown') ? `${name} (${number})` : name;
    element.append(title);
    const group = { name, element, values: new Map() };
    this.groups.set(number, group);
    const later = [...this.groups.keys()].filter((other) => other > number).sort((a, b) => a - b);
    this.box.insertBefore(element, later.length ? this.groups.get(later[0]).element : null);
    this.empty.hidden = true;
    return group;
  }

  addValue(group, groupNumber, name) {
    const element = document.createElement('div');
    element.className = 'value';
    const label = document.createElement('span');
    label.textContent = escapeControls(name);
    label.title = label.textContent;
    const now = document.createElement('span');
    now.className = 'now';
    const graph = document.createElement('canvas');
    element.append(label, now, graph);
    const entry = { value: new Value(groupNumber, name), element, now, graph };
    group.values.set(name, entry);
    ++this.count;
    const later = [...group.values.keys()].filter((other) => other > name).sort();
    group.element.insertBefore(element, later.length ? group.values.get(later[0]).element : null);
    return entry;
  }

  clear() {
    this.groups.clear();
    this.changed.clear();
    this.count = 0;
    this.empty.hidden = false;
    this.box.replaceChildren(this.empty);
  }

  all() {
    return [...this.groups.values()].flatMap((group) =>
      [...group.values.values()].map((entry) => ({ groupName: group.name, value: entry.value })));
  }

  redrawAll() {
    for (const group of this.groups.values())
      for (const entry of group.values.values()) this.change(entry);
  }

  draw() {
    this.timer = 0;
    const top = this.box.scrollTop - 40;
    const bottom = this.box.scrollTop + this.box.clientHeight + 40;
    const inSight = [...this.changed].filter(({ element }) => {
      const place = element.offsetTop - this.box.offsetTop;
      return place > top && place < bottom;
    });
    for (const entry of this.changed) {
      const text = escapeControls(entry.value.text);
      setText(entry.now, text);
      entry.now.title = text;
    }
    for (const entry of inSight) this.drawGraph(entry);
    this.changed.clear();
  }

  drawGraph({ value, graph }) {
    const { samples } = value;
    const context = prepareCanvas(graph, 76, 20);
    if (samples.length < 2) return;
    const low = Math.min(...samples);
    const high = Math.max(...samples);
    graph.title = `${low} to ${high} in the last ${Math.round(SAMPLES * SAMPLE_SECONDS)} s`;
    const range = high - low || 1;
    const y = (sample) => (high === low ? 10 : 17 - (sample - low) / range * 14);
    context.strokeStyle = cssColor('--accent');
    context.lineWidth = 1.25;
    context.lineJoin = 'round';
    context.beginPath();
    const step = 72 / (SAMPLES - 1);
    const start = 74 - (samples.length - 1) * step;
    samples.forEach((sample, index) => context.lineTo(start + index * step, y(sample)));
    context.stroke();
  }
}
