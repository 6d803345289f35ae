"use strict";

/** The status in large letters and the texts before it. */
class StatusView {
  constructor() {
    this.texts = new Map();
  }

  /** Of a server that has been started again the numbers begin again. */
  reset() {
    this.texts.clear();
  }

  add(entries) {
    for (const entry of entries.filter(({number}) => number > 0)) {
      this.texts.set(entry.number, entry);
    }
    this.show();
  }

  show() {
    const kept = 200;
    const newestFirst = [...this.texts.values()].sort((left, right) => right.number - left.number);
    newestFirst.splice(kept).forEach(({number}) => this.texts.delete(number));
    this.showPresent(newestFirst[0]);
    showList(byId("timeline"), newestFirst, {
      // A number may stand for another text when the server has been started again.
      key: ({number, time}) => `${number} ${time}`,
      make: timelineEntry,
    });
  }

  showPresent(present) {
    const status = byId("status");
    const age = byId("status-age");
    setText(status, present ? present.text : "No status yet");
    status.className = present ? kindOfStatus(present.text) : "";
    document.title = present ? `${present.text} – kel_server` : "kel_server";
    if (present && age.dataset.key !== present.time) {
      age.dataset.key = present.time;
      age.replaceChildren("for ", ageElement(present.time), ", since ", timeElement(present.time));
    } else if (!present) {
      age.replaceChildren();
    }
  }
}

function timelineEntry({text, time}) {
  return element("li", kindOfStatus(text), timeElement(time), " ", element("span", "", text));
}
