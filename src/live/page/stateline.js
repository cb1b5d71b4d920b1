// The state line, which tells whether the page is up to date, and its counterpart for screen readers.
import { byId, setText } from "./dom.js";
import { clockAt, counted } from "./format.js";

export class StateLine {
  constructor() {
    this.box = byId("state");
    this.text = byId("state-text");
    this.detail = byId("state-detail");
    this.voice = byId("voice");
    this.state = { state: "connecting", since: Date.now(), retry: 0 };
    this.spoken = "";
    this.queue = "";
  }

  // connection: the hub's message. paused: number of changes held back by the pause, or -1.
  draw(connection, paused, program, offset) {
    const { name, text, detail } = this.#words(connection, paused, program, offset);
    this.box.dataset.state = name;
    setText(this.text, text);
    setText(this.detail, detail);
    if (name !== this.spoken && name !== "connecting") {
      if (this.spoken !== "" || name !== "live") this.say(name === "lost" ? `${text}. ${detail.split(";")[0]}` : text);
      this.spoken = name;
    }
  }

  #words({ state, since, retry }, paused, program, offset) {
    if (state === "login") return { name: "login", text: "Logged out", detail: "log in to continue" };
    if (state === "lost") {
      const seconds = Math.max(0, Math.ceil((retry - Date.now()) / 1000));
      const again = seconds > 0 ? `retrying in ${seconds} s` : "retrying";
      return { name: "lost", text: "Connection lost", detail: `stale since ${clockAt(since, offset)}; ${again}` };
    }
    if (state === "connecting" || !program) return { name: "connecting", text: "Connecting", detail: "" };
    if (paused >= 0) {
      const detail = paused ? `${counted(paused, "change", "changes")} waiting` : "";
      return { name: "paused", text: "Paused", detail };
    }
    if (program.paused) return { name: "idle", text: "Live", detail: "scanning is paused in the program" };
    return { name: "live", text: "Live", detail: "" };
  }

  // Speaks at most once in ten seconds; of several messages in between the last is spoken.
  say(text) {
    this.queue = text;
    if (this.timer) return;
    setText(this.voice, this.queue);
    this.queue = "";
    this.timer = setTimeout(() => {
      this.timer = 0;
      if (this.queue) this.say(this.queue);
    }, 10000);
  }
}
