"use strict";

/** Start and Cancel, and why they cannot be used where they cannot. */
class Controls {
  constructor(connection) {
    this.connection = connection;
    this.obstacle = "Not connected: nothing can be started or cancelled.";
    this.asked = new Set();
    byId("cancel").addEventListener("click", () => this.cancel());
    byId("problem-close").addEventListener("click", () => tellProblem(""));
  }

  /** An empty text when everything is allowed. */
  setObstacle(text) {
    this.obstacle = text;
    for (const button of document.querySelectorAll("#cancel, #scripts button")) {
      this.showWhetherAllowed(button);
    }
    setText(byId("reason"), text || "Ends what runs. The buttons F1 and F2 then rest until the " +
                                    "program is started again.");
  }

  showWhetherAllowed(button) {
    button.disabled = this.obstacle !== "";
    button.title = this.obstacle;
  }

  loadScripts(names) {
    showList(byId("scripts"), names, {key: (name) => name, make: (name) => this.script(name)});
    show(byId("no-scripts"), names.length === 0);
  }

  script(name) {
    const button = element("button", "primary", "Start");
    button.type = "button";
    button.setAttribute("aria-label", `Start ${name}`);
    button.addEventListener("click", () => this.start(name, button));
    this.showWhetherAllowed(button);
    return element("li", "", element("span", "name", name), button);
  }

  /**
   * The server answers when the run has ended. Until then the button does nothing, so that a double
   * click does not run the script twice; it stays where the keyboard's focus can be.
   */
  async start(name, button) {
    if (this.asked.has(name)) {
      return;
    }
    this.showAsked(name, button, true);
    const answer = this.ask("sequence.start", {name}, `the start of ${name}`);
    this.onStart();
    await answer;
    this.showAsked(name, button, false);
  }

  showAsked(name, button, isAsked) {
    this.asked[isAsked ? "add" : "delete"](name);
    button.setAttribute("aria-disabled", String(isAsked));
    setText(button, isAsked ? "Requested" : "Start");
  }

  async cancel() {
    await this.ask("sequence.cancel", {}, "the cancel");
  }

  async ask(method, params, wish) {
    const refused = `The server refused ${wish}:`;
    tellProblem("");
    try {
      const {handled} = await this.connection.call(method, params);
      if (!handled) {
        tellProblem(`${refused} no sequence can run now.`);
      }
    } catch (error) {
      const isLost = error instanceof ConnectionLost;
      tellProblem(isLost ? `The connection was lost before the server answered ${wish}: the runs tell ` +
                           "what came of it."
                         : `${refused} ${error.message}.`);
    }
  }

  /** `time` is null when there was no cancel since the program was started. */
  showResting(time) {
    show(byId("resting"), time !== null);
    setText(byId("resting"), time === null ? "" :
            `Cancelled at ${shortTime(time)}: the buttons F1 and F2 rest until the program is ` +
            "started again.");
  }
}

/** What the person at the page asked for and did not get; an empty text takes it away. */
function tellProblem(text) {
  setText(byId("problem-text"), text);
  show(byId("problem"), text !== "");
}
