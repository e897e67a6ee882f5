'use strict';
// Regular expressions on lines, in a worker: some take for ever on some lines, as (a+)+$ does, and
// that must not stop the page.

const MATCH_MILLISECONDS = 3000;
// What was asked before somebody types on may still take so long.
const STALE_MILLISECONDS = 200;

// All that the worker runs: it gets the text of this.
function runMatcher() {
  const rangesOf = (pattern, text) => [...text.matchAll(pattern)]
    .map((match) => [match.index, match.index + match[0].length]);
  onmessage = ({ data: { pattern, texts, wantsRanges } }) => {
    postMessage(texts.map((text) => (wantsRanges ? rangesOf(pattern, text) : pattern.test(text))));
  };
}

class Matcher {
  constructor() {
    this.last = Promise.resolve();
    this.worker = null;
    this.giveUp = null; // on what is being matched
  }

  // For each text whether the pattern is found. Null when that took too long.
  test(pattern, texts) { return this.ask({ pattern, texts }); }

  // For each text all the [begin, end].
  find(pattern, texts) {
    return this.ask({ pattern: new RegExp(pattern.source, pattern.flags + 'g'), texts, wantsRanges: true });
  }

  // Nobody waits any longer for what was asked so far.
  hurry() {
    if (performance.now() > this.startedAt + STALE_MILLISECONDS) this.giveUp?.();
  }

  ask(request) {
    this.last = this.last.then(() => this.run(request)).catch(() => null);
    return this.last;
  }

  run(request) {
    return new Promise((resolve) => {
      this.worker ??= this.start();
      this.startedAt = performance.now();
      this.giveUp = () => {
        this.worker.terminate();
        this.worker = null;
        this.finish(resolve, null);
      };
      this.timer = setTimeout(this.giveUp, MATCH_MILLISECONDS);
      this.worker.onmessage = ({ data }) => this.finish(resolve, data);
      this.worker.postMessage(request);
    });
  }

  finish(resolve, found) {
    clearTimeout(this.timer);
    this.giveUp = null;
    resolve(found);
  }

  // From the page's own text, so that it can be started in a saved page as well.
  start() {
    const url = URL.createObjectURL(new Blob([`(${runMatcher})()`], { type: 'text/javascript' }));
    const worker = new Worker(url);
    URL.revokeObjectURL(url);
    return worker;
  }
}
