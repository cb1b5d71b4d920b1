// Turns values into text for people. No DOM.

// Control characters, and those that change the direction of the surrounding text.
const kHidden = /[\u0000-\u001f\u007f-\u009f\u061c\u200e\u200f\u2028\u2029\u202a-\u202e\u2066-\u2069]/g;
export const kMostShown = 300;

// Makes text from a log safe to show: at most `most` characters, none that affects its surroundings.
export function shown(value, most = kMostShown) {
  let text = value === null || value === undefined ? "" : String(value);
  if (text.length > most) {
    const last = text.charCodeAt(most - 1);
    text = text.slice(0, last >= 0xd800 && last < 0xdc00 ? most - 1 : most) + "…";
  }
  return text.replace(kHidden, "\ufffd");
}

const kOffset = /([+-])(\d\d):(\d\d)$/;

// The UTC offset of an RFC 3339 time in milliseconds.
export function offsetOf(text) {
  const found = kOffset.exec(text ?? "");
  return found ? (found[1] === "-" ? -1 : 1) * (Number(found[2]) * 60 + Number(found[3])) * 60000 : 0;
}

// Milliseconds since 1970, or NaN.
export function instantOf(text) {
  return text ? Date.parse(text) : NaN;
}

// The formatters use UTC. Adding the server's offset first makes them show the server's wall clock.
const formatters = new Map();
function formatter(locale, style) {
  const name = `${locale} ${style}`;
  if (!formatters.has(name)) {
    const styles = {
      time: { timeStyle: "medium" },
      minute: { timeStyle: "short" },
      moment: { dateStyle: "medium", timeStyle: "medium" },
      day: { dateStyle: "medium" },
    };
    formatters.set(name, new Intl.DateTimeFormat(locale || undefined, { ...styles[style], timeZone: "UTC" }));
  }
  return formatters.get(name);
}

function atServer(text, style, locale) {
  const instant = instantOf(text);
  return Number.isNaN(instant) ? "" : formatter(locale ?? "", style).format(instant + offsetOf(text));
}

export const timeOf = (text, locale) => atServer(text, "time", locale);
export const minuteOf = (text, locale) => atServer(text, "minute", locale);
export const momentOf = (text, locale) => atServer(text, "moment", locale);
export const dayOf = (text, locale) => atServer(text, "day", locale);

// An instant of the local clock as the server's time of day.
export function clockAt(instant, offset, locale) {
  return formatter(locale ?? "", "time").format(instant + offset);
}

const numbers = new Intl.NumberFormat();
export function count(value) {
  return typeof value === "number" && Number.isFinite(value) ? numbers.format(value) : "–";
}

// For places as narrow as the axis of a chart.
const shortNumbers = new Intl.NumberFormat(undefined, { notation: "compact" });
export const shortCount = (value) => shortNumbers.format(value);

export function counted(value, one, many) {
  return `${count(value)} ${value === 1 ? one : many}`;
}

export function duration(milliseconds) {
  const seconds = Math.max(0, Math.floor(milliseconds / 1000));
  if (seconds < 60) return `${seconds} s`;
  const minutes = Math.floor(seconds / 60);
  if (minutes < 60) return `${minutes} min ${seconds % 60} s`;
  const hours = Math.floor(minutes / 60);
  return hours < 48 ? `${hours} h ${minutes % 60} min` : `${Math.floor(hours / 24)} days`;
}

export function bytes(value) {
  if (!(value >= 1000)) return `${count(value)} B`;
  const units = ["kB", "MB", "GB", "TB"];
  let at = -1;
  let size = value;
  while (size >= 1000 && at < units.length - 1) {
    size /= 1000;
    at += 1;
  }
  return `${size < 10 ? size.toFixed(1) : Math.round(size)} ${units[at]}`;
}

// The address if it may become a link (http and https only), else null.
export function webAddress(text) {
  if (!/^https?:\/\//i.test(text ?? "") || text.length > 4000) return null;
  try {
    const url = new URL(text);
    return url.protocol === "http:" || url.protocol === "https:" ? url.href : null;
  } catch {
    return null;
  }
}

// The host of a referrer; text that isn't an address is returned as it is.
export function referrerSite(text) {
  if (!text || text === "-") return "";
  const found = /^https?:\/\/([^/?#\s]+)/i.exec(text);
  return found ? found[1].toLowerCase() : text.slice(0, 1000);
}

export function visitorName(visitor) {
  return visitor.name || visitor.host || visitor.address || "?";
}

// The page with its query.
export function pageOf(visitor) {
  return visitor.query ? `${visitor.page}?${visitor.query}` : visitor.page || "";
}
