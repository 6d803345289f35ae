"use strict";

/**
 * Loads what no notification brings: at once when asked, then at most once a second however often
 * it is asked, one load at a time.
 */
class Refresher {
  /** `late()` is called when a load has not ended in time: the server has gone without a word. */
  constructor(load, late) {
    this.load = load;
    this.late = late;
    this.isBusy = false;
    this.isAskedAgain = false;
  }

  ask() {
    if (this.isBusy) {
      this.isAskedAgain = true;
    } else {
      this.run();
    }
  }

  async run() {
    const pause = 1000;
    this.isBusy = true;
    this.isAskedAgain = false;
    try {
      await this.loadInTime();
    } finally {
      setTimeout(() => this.endPause(), pause);
    }
  }

  endPause() {
    this.isBusy = false;
    if (this.isAskedAgain) {
      this.run();
    }
  }

  async loadInTime() {
    const patience = 15_000;
    const watch = setTimeout(this.late, patience);
    try {
      await this.load();
    } catch (error) {
      if (!(error instanceof ConnectionLost || error instanceof CallError)) {
        throw error;
      }
      // The page says by itself that the server is gone; a busy one is asked again later.
    } finally {
      clearTimeout(watch);
    }
  }
}
