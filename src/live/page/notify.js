// Browser notifications of alerts, once the user has asked for them.
import { byId, setAttribute, setText } from "./dom.js";
import { shown } from "./format.js";
import { recall, remember } from "./prefs.js";

const kPause = 3000;

export class Notifier {
  // say(text): tells screen readers.
  constructor(button, say) {
    Object.assign(this, { button, say, last: 0, more: 0 });
    this.label = byId("notify-label");
    button.addEventListener("click", () => this.#click());
    this.draw();
  }

  // Browsers allow notifications only over https and from the local machine.
  get possible() {
    return "Notification" in globalThis && globalThis.isSecureContext;
  }

  get on() {
    return this.possible && Notification.permission === "granted" && recall("notify", false);
  }

  draw(problem = "") {
    setAttribute(this.button, "aria-pressed", this.on);
    setText(this.label, problem || (this.on ? "Notifications on" : "Notify me of alerts"));
    if (problem) {
      this.button.title = problem;
      this.say(problem);
    }
  }

  async #click() {
    let problem = "";
    if (!this.possible) {
      problem = "Notifications need https";
    } else if (this.on) {
      remember("notify", false);
    } else {
      remember("notify", true);
      if (Notification.permission === "default") await Notification.requestPermission();
      if (Notification.permission === "denied") problem = "Blocked in the browser";
    }
    this.draw(problem);
  }

  // A burst of alerts gives one notification. Tabs use the same tag for the same alert, so it is shown once.
  alert(alert, siteName, open) {
    if (!this.on) return;
    const now = Date.now();
    if (now - this.last < kPause) {
      this.more += 1;
      return;
    }
    this.last = now;
    const also = this.more ? ` (and ${this.more} more before)` : "";
    this.more = 0;
    const text = [shown(alert.host || alert.address, 80), shown(alert.page, 120), shown(siteName, 60)];
    try {
      const note = new Notification(shown(alert.name, 80) + also,
        { body: text.filter(Boolean).join("\n"), tag: `vantry-alert-${alert.id}` });
      note.onclick = () => {
        focus();
        open(alert);
        note.close();
      };
    } catch {
      // Some mobile browsers have the class but don't let pages use it.
    }
  }
}
