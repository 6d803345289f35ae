"use strict";

/** Times and words as people read them. Times come from the server, whose clock counts. */

/** By how many milliseconds the server's clock is ahead of the browser's. */
let clockAhead = 0;

function setServerTime(milliseconds) {
  // The header has whole seconds: two clocks that agree must not look different.
  const tolerance = 2000;
  const ahead = milliseconds - Date.now();
  clockAhead = Math.abs(ahead) > tolerance ? ahead : 0;
}

function serverNow() {
  return Date.now() + clockAhead;
}

function twoDigits(number) {
  return String(number).padStart(2, "0");
}

function clockTime(iso) {
  const time = new Date(iso);
  return [time.getHours(), time.getMinutes(), time.getSeconds()].map(twoDigits).join(":");
}

function dayAndTime(iso) {
  const time = new Date(iso);
  const day = [time.getFullYear(), time.getMonth() + 1, time.getDate()].map(twoDigits).join("-");
  return `${day} ${clockTime(iso)}`;
}

function dayOf(time) {
  return new Date(time).toDateString();
}

/** The day is left out where it is today. */
function shortTime(iso) {
  return dayOf(iso) === dayOf(serverNow()) ? clockTime(iso) : dayAndTime(iso);
}

function duration(milliseconds) {
  const seconds = Math.max(0, Math.floor(milliseconds / 1000));
  const minutes = Math.floor(seconds / 60);
  const hours = Math.floor(minutes / 60);
  if (seconds < 60) {
    return `${seconds} s`;
  }
  if (minutes < 60) {
    return `${minutes} min ${twoDigits(seconds % 60)} s`;
  }
  return hours < 24 ? `${hours} h ${twoDigits(minutes % 60)} min`
                    : `${Math.floor(hours / 24)} d ${hours % 24} h`;
}

function ageOf(iso) {
  return duration(serverNow() - Date.parse(iso));
}

/** Of what has ended; most runs take a second or two. */
function durationBetween(begin, end) {
  const milliseconds = Date.parse(end) - Date.parse(begin);
  return milliseconds < 10_000 ? `${(milliseconds / 1000).toFixed(1)} s` : duration(milliseconds);
}

function wholeNumber(number) {
  return number.toLocaleString("en");
}

/** "3 faults", "1 fault". */
function counted(number, noun) {
  return `${wholeNumber(number)} ${noun}${number === 1 ? "" : "s"}`;
}

const jobKinds = {
  procedure: "Procedure",
  service: "Service",
  quickTest: "Quick test",
  flash: "Flash",
};

/** Of runs and jobs: the word, and a symbol for those who do not see the colour. */
const outcomes = {
  clean: {word: "clean", symbol: "✓", kind: "good"},
  passed: {word: "passed", symbol: "✓", kind: "good"},
  findings: {word: "findings", symbol: "!", kind: "note"},
  failed: {word: "failed", symbol: "✕", kind: "bad"},
  cancelled: {word: "cancelled", symbol: "■", kind: "quiet"},
  running: {word: "running", symbol: "▶", kind: "busy"},
};

function outcomeOf(entry) {
  return outcomes[entry.outcome] ?? outcomes.running;
}

const failurePrefixes = ["Exception caught: ", "Flashing aborted due to flashjob error: "];
const cancelTexts = ["Running cancel sequence", "Running abort sequence"];

/** What a status text tells at a glance. */
function kindOfStatus(text) {
  if (failurePrefixes.some((prefix) => text.startsWith(prefix))) {
    return "bad";
  }
  return cancelTexts.includes(text) ? "note" : "";
}
