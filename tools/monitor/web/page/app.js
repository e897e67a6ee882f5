'use strict';
// Receives the events and hands them to the views; buttons.

function byId(id) { return document.getElementById(id); }

function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

function cssColor(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

// Sized for the screen, cleared, and to be drawn on in CSS pixels.
function prepareCanvas(canvas, width, height) {
  const ratio = window.devicePixelRatio || 1;
  const [wide, high] = [Math.round(width * ratio), Math.round(height * ratio)];
  if (canvas.width !== wide || canvas.height !== high) [canvas.width, canvas.height] = [wide, high];
  const context = canvas.getContext('2d');
  context.setTransform(ratio, 0, 0, ratio, 0, 0);
  context.clearRect(0, 0, width, height);
  return context;
}

// While the page is paused, so many events wait, of so many characters. Of older ones the text is
// let go, and what was said anew since.
const MAX_HELD_EVENTS = 50000;
const MAX_HELD_CHARACTERS = 20e6;
const RETRY_MILLISECONDS = 2000;
// A game may send profiles faster than anybody can look at them.
const PROFILE_MILLISECONDS = 250;

class App {
  constructor() {
    this.lines = new Lines();
    this.log = new LogView(this.lines);
    this.statistics = new StatisticsView();
    this.flame = new FlameView();
    this.held = null; // while paused
    this.nextEvent = '0';
    this.newestProfile = null;
    this.shownProfile = null;
    this.source = '';
    this.connectButtons();
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => {
      this.statistics.redrawAll();
      this.flame.draw();
    });
    const saved = byId('saved');
    if (saved) this.showSaved(JSON.parse(saved.textContent));
    else this.open();
  }

  connectButtons() {
    const toggle = (id, action) => byId(id).addEventListener('click', action);
    toggle('pause', () => this.setPaused(!this.held));
    toggle('profileToggle', () => this.showProfilePanel(byId('profile').hidden));
    toggle('save', () => this.tell(this.save()));
    toggle('saveTrace', () => this.tell(this.saveTrace()));
    toggle('live', () => this.setLive(byId('live').getAttribute('aria-pressed') !== 'true'));
    this.flame.onTouched = () => this.setLive(false);
    for (const button of document.querySelectorAll('[data-request]'))
      button.addEventListener('click', () => this.tell(this.send(`request/${button.dataset.request}`, '')));
    byId('dataForm').addEventListener('submit', (event) => {
      event.preventDefault();
      this.tell(this.send('data', byId('data').value).then(() => byId('data').select()));
    });
  }

  // Receiving.

  open() {
    this.parts ??= fetchParts();
    this.parts.catch(() => {}); // said when it is needed
    // One that was refused goes on saying why until it is let in.
    if (byId('state').dataset.state !== 'ended') this.setState('opening', 'opening');
    // A stream that breaks is opened again from where it was by the browser, one that was refused
    // meanwhile by us.
    const stream = new EventSource(`events?from=${this.nextEvent}`);
    stream.addEventListener('hello', (event) => this.greet(JSON.parse(event.data)));
    stream.onmessage = (event) => {
      this.nextEvent = event.lastEventId;
      this.receive(JSON.parse(event.data), event.data.length);
    };
    stream.onerror = () => {
      if (stream.readyState === EventSource.CLOSED) this.askWhy();
      else this.setState('ended', 'dm watch is not there', 'dm watch has ended, or cannot be reached. '
        + 'What has come is still here and can be saved. One that is started again prints another URL.');
    };
  }

  // The stream says that it was refused, but not why.
  async askWhy() {
    const asking = new AbortController();
    let reason = ['dm watch is not there', 'dm watch has ended, or cannot be reached.'];
    try {
      const response = await fetch('events', { signal: asking.signal });
      if (!response.ok) reason = ['dm watch refuses', (await response.text()).trim()];
    } catch { /* it is not there */ }
    asking.abort();
    this.setState('ended', ...reason);
    setTimeout(() => this.open(), RETRY_MILLISECONDS);
  }

  greet(hello) {
    this.source = hello.source;
    document.title = `dm watch ${this.source}`;
    setText(byId('source'), this.source);
    byId('commands').hidden = !hello.canSend;
    this.isRecording = !hello.canSend;
    if (this.isRecording) this.setState('recording', 'recording');
    else this.setState(...(this.connection ?? ['waiting', 'waiting for the game']));
  }

  setState(state, text, notice = '') {
    byId('state').dataset.state = state;
    setText(byId('state'), text);
    for (const control of document.querySelectorAll('#commands button, #commands input'))
      control.disabled = state !== 'connected';
    this.log.emptyText = state === 'connected' ? 'The game has not printed anything yet: print() shows its lines here.'
      : state === 'waiting' ? `Waiting for the game at ${this.source}: start it, and the page goes on by itself.`
      : state === 'recording' || state === 'saved' ? 'Nothing was printed.' : '';
    this.log.draw();
    this.notify(notice, state === 'ended');
  }

  notify(text, isBad = false) {
    byId('notice').hidden = text === '';
    byId('notice').classList.toggle('bad', isBad);
    setText(byId('notice'), text);
  }

  // Says what went wrong with what somebody asked for.
  async tell(action) {
    try {
      await action;
      if (byId('state').dataset.state !== 'ended') this.notify('');
    } catch (error) {
      this.notify(error.message, true);
    }
  }

  receive(events, characters) {
    if (!this.held) {
      for (const event of events) this.apply(event);
      return;
    }
    this.held.add(events, characters);
    setText(byId('pause'), `Go on (${this.held.count.toLocaleString('en')} waiting)`);
  }

  apply([kind, seconds, ...rest]) {
    switch (kind) {
      case 'text':
        this.log.add({ time: seconds, channel: rest[0], text: escapeControls(rest[1]) });
        break;
      case 'value': this.statistics.set(seconds, ...rest); break;
      case 'profile': this.profileCame(rest[0]); break;
      case 'lines lost':
        this.note(seconds, `${rest[0].toLocaleString('en')} lines were lost: they came faster than dm read them`);
        break;
      case 'skipped':
        this.note(0, `${seconds.toLocaleString('en')} earlier events are no longer kept`);
        break;
      case 'connected':
        this.statistics.clear(); // it may be another game
        this.connectionChanged('connected', 'connected', seconds, `connected to ${rest[1]}`, rest[0]);
        break;
      case 'disconnected':
        this.connectionChanged('waiting', 'waiting for the game', seconds, `not connected: ${rest[1]}`, rest[0]);
        break;
    }
  }

  note(seconds, text) {
    this.log.add({ time: seconds, text: escapeControls(text) });
  }

  connectionChanged(state, text, seconds, note, wallClock) {
    this.connection = [state, text];
    if (!this.isRecording) this.setState(state, text);
    this.note(seconds, `${note} (${new Date(wallClock).toLocaleTimeString('en-GB')})`);
  }

  setPaused(isPaused) {
    const held = this.held;
    this.held = isPaused ? new HeldEvents(MAX_HELD_EVENTS, MAX_HELD_CHARACTERS) : null;
    byId('pause').setAttribute('aria-pressed', String(isPaused));
    setText(byId('pause'), isPaused ? 'Go on' : 'Pause');
    for (const event of held?.take() ?? []) this.apply(event);
  }

  // Profiles.

  showProfilePanel(isShown) {
    byId('profile').hidden = !isShown;
    byId('profileToggle').setAttribute('aria-pressed', String(isShown));
    this.flame.draw();
    if (isShown) this.tell(this.fetchProfile());
    else byId('tooltip').hidden = true;
  }

  get isLive() { return byId('live').getAttribute('aria-pressed') === 'true'; }

  setLive(isLive) {
    if (this.isLive === isLive) return;
    byId('live').setAttribute('aria-pressed', String(isLive));
    if (isLive) this.tell(this.fetchProfile());
  }

  profileCame(number) {
    this.newestProfile = number;
    if (this.isLive) this.tell(this.fetchProfile());
  }

  // One at a time: those that come meanwhile are passed over for the newest.
  async fetchProfile() {
    if (this.isFetching || byId('profile').hidden) return;
    this.isFetching = true;
    try {
      while (this.isLive && this.shownProfile !== this.newestProfile) {
        const number = this.newestProfile;
        const text = await fetchText(`profile/${number}`).catch((error) => {
          // Gone already: a newer one is on its way.
          if (number === this.newestProfile) throw error;
          return null;
        });
        this.shownProfile = number;
        if (!text || !this.isLive) continue;
        this.showProfile(JSON.parse(text));
        await new Promise((resolve) => { setTimeout(resolve, PROFILE_MILLISECONDS); });
      }
    } finally {
      this.isFetching = false;
    }
  }

  showProfile(profile) {
    this.flame.show(profile);
    const zones = profile.threads.reduce((sum, thread) => sum + thread.zones.length / 4, 0);
    setText(byId('profileInfo'), `${profile.threads.length} threads, `
      + `${zones.toLocaleString('en')} zones, ${formatTime(profile.microseconds)}`);
  }

  async saveTrace() {
    if (this.shownProfile === null) throw new Error('There is no profile yet.');
    download('dm-trace.json', 'application/json', await fetchText(`trace/${this.shownProfile}`));
  }

  // Commands and saving.

  async send(path, body) {
    const response = await fetch(path, { method: 'POST', body, headers: { 'Content-Type': 'text/plain' } })
      .catch(() => { throw new Error('Not sent: dm watch cannot be reached.'); });
    if (!response.ok) throw new Error((await response.text()).trim());
  }

  async save() {
    const state = savedState(this.source, this.lines, this.statistics, this.flame.profile);
    const page = await makeSavedPage(await this.parts, state);
    const when = new Date(state.savedAt).toISOString().slice(0, 19).replace(/:/g, '-');
    download(`dm-watch-${when}.html`, 'text/html', page);
  }

  showSaved(state) {
    this.greet({ source: state.source, canSend: false });
    document.title += ' (saved)';
    this.setState('saved', `saved ${new Date(state.savedAt).toLocaleString('en-GB')}`);
    for (const id of ['pause', 'save', 'live', 'saveTrace']) byId(id).hidden = true;
    for (const [time, channel, text] of state.lines) {
      if (channel === null) this.log.add({ time, text });
      else this.log.add({ time, channel, text });
    }
    for (const [group, groupName, name, text, samples] of state.values) {
      this.statistics.set(0, group, groupName, name, text);
      this.statistics.groups.get(group).values.get(name).value.samples = samples;
    }
    if (state.profile) {
      this.showProfilePanel(true);
      this.showProfile(state.profile);
    }
  }
}

const app = new App();
