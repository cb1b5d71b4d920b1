// The connection to the program's event stream. Runs in the shared worker, or in one of the tabs. No DOM.
import { SseParser } from "./sse.js";

const kSilence = 45000;  // The server sends a comment every 15 seconds.
const kConnecting = 10000;
const kFirstWait = 250;
const kLongestWait = 30000;
const kFlush = 100;

export class Hub {
  // root: the address that api/v1 is relative to. tell(message): sends to all tabs.
  constructor(root, tell) {
    this.root = root;
    this.tell = tell;
    this.run = null;
    this.last = -1;
    this.wait = kFirstWait;
    this.message = { kind: "state", state: "connecting", since: Date.now(), run: null, retry: 0 };
    this.pending = [];
    this.stopped = false;
  }

  // Resumes after the last event seen of a run, if given.
  start(run = null, last = -1) {
    this.run = run;
    this.last = last;
    this.#loop();
  }

  stop() {
    this.stopped = true;
    this.poke();
  }

  // The network may be back: tries at once.
  poke() {
    this.wait = kFirstWait;
    this.abort?.abort();
    this.wake?.();
  }

  #state(state, since, retry = 0) {
    const same = this.message.state === state;
    this.message = { kind: "state", state, since: same ? this.message.since : since, run: this.run, retry };
    this.tell(this.message);
  }

  async #loop() {
    let broken = 0;  // When the last stream ended.
    while (!this.stopped) {
      this.connected = 0;
      const state = await this.#once().catch(() => "lost");
      this.#flush();
      if (this.stopped) return;
      if (this.connected) broken = Date.now();
      // Servers and proxies end streams that are well: one that lived is opened again before anybody is told.
      const lived = this.connected && broken - this.connected > 5000;
      this.wait = lived ? kFirstWait : Math.min(kLongestWait, this.wait * 2);
      if (lived && state === "lost") continue;
      const pause = Math.round(this.wait * (0.75 + Math.random() / 2));
      this.#state(state, broken || Date.now(), Date.now() + pause);
      await this.#sleep(pause);
    }
  }

  #sleep(milliseconds) {
    return new Promise((done) => {
      const timer = setTimeout(done, milliseconds);
      this.wake = () => {
        clearTimeout(timer);
        done();
      };
    }).finally(() => (this.wake = null));
  }

  // Connects and reads until the stream ends. Returns the new state.
  async #once() {
    const abort = new AbortController();
    this.abort = abort;
    let watch = 0;
    const alive = (silence = kSilence) => {
      clearTimeout(watch);
      watch = setTimeout(() => abort.abort(), silence);
    };
    try {
      alive(kConnecting);
      const options = { signal: abort.signal, cache: "no-store", credentials: "same-origin" };
      const asked = await fetch(new URL("api/v1/program", this.root), options);
      if (asked.status === 401) return "login";
      if (!asked.ok) return "lost";
      this.#meet(await asked.json());
      alive();
      const events = await fetch(new URL(`api/v1/events?after=${this.last}`, this.root), options);
      if (events.status === 401) return "login";
      if (!events.ok) return "lost";
      this.connected = Date.now();
      this.#state("live", this.connected);
      await this.#read(events.body.getReader(), alive);
      return "lost";
    } finally {
      clearTimeout(watch);
      abort.abort();
    }
  }

  #meet(program) {
    if (program.started === this.run && this.last >= 0 && program.event >= this.last) return;
    this.run = program.started;
    this.last = program.event;
  }

  async #read(reader, alive) {
    const decoder = new TextDecoder();
    const parser = new SseParser();
    for (;;) {
      const { value, done } = await reader.read();
      if (done) return;
      alive();
      for (const event of parser.feed(decoder.decode(value, { stream: true }))) this.#take(event);
    }
  }

  #take(event) {
    if (event[0] !== null) this.last = event[0];
    if (this.pending.length === 0) setTimeout(() => this.#flush(), kFlush);
    this.pending.push(event);
  }

  #flush() {
    if (this.pending.length === 0) return;
    const items = this.pending;
    this.pending = [];
    this.tell({ kind: "events", run: this.run, items });
  }
}
