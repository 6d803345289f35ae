"use strict";

/** Start and Cancel, and why they cannot be used where they cannot. */
class Controls {
  constructor(connection) {
    this.connection = connection;
    this.obstacle = "Not connected: nothing can be started or cancelled.";
    this.scripts = [];
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
    this.scripts = names;
    this.showScripts();
    show(byId("no-scripts"), names.length === 0);
  }

  showScripts() {
    showList(byId("scripts"), this.scripts, {
      key: (name) => name,
      make: (name) => this.script(name),
      update: (item, name) => showAsked(item.querySelector("button"), this.asked.has(name)),
    });
  }

  script(name) {
    const button = element("button", "primary");
    button.type = "button";
    button.setAttribute("aria-label", `Start ${name}`);
    button.addEventListener("click", () => this.start(name));
    this.showWhetherAllowed(button);
    return element("li", "", element("span", "name", name), button);
  }

  /**
   * The server answers when the run has ended. Until then the button does nothing, so that a double
   * click does not run the script twice; it stays where the keyboard's focus can be. The script may leave
   * the folder and come back meanwhile.
   */
  async start(name) {
    if (this.asked.has(name)) {
      return;
    }
    this.asked.add(name);
    this.showScripts();
    const answer = this.ask("sequence.start", {name}, `the start of ${name}`,
                            "no sequence can run now");
    this.onStart();
    await answer;
    this.asked.delete(name);
    this.showScripts();
  }

  async cancel() {
    await this.ask("sequence.cancel", {}, "the cancel", "there is none while the program starts or stops");
  }

  async ask(method, params, wish, whyNotHandled) {
    const refused = `The server refused ${wish}:`;
    tellProblem("");
    try {
      const {handled} = await this.connection.call(method, params);
      if (!handled) {
        tellProblem(`${refused} ${whyNotHandled}.`);
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

function showAsked(button, isAsked) {
  button.setAttribute("aria-disabled", String(isAsked));
  setText(button, isAsked ? "Requested" : "Start");
}

/** What the person at the page asked for and did not get; an empty text takes it away. */
function tellProblem(text) {
  setText(byId("problem-text"), text);
  show(byId("problem"), text !== "");
}
