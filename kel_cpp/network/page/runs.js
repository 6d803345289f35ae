"use strict";

/** The runs with outcome, reports and, on demand, what happened in them. Newest first. */
class RunsView {
  constructor(connection, session) {
    this.connection = connection;
    this.session = session;
    this.runs = [];
    this.showsAll = false;
    byId("more-runs").addEventListener("click", () => {
      this.showsAll = !this.showsAll;
      this.show();
    });
  }

  load(runs) {
    this.runs = [...runs].reverse();
    this.show();
  }

  /** The same run may be there already, as a running one. */
  ended(run) {
    const kept = 100;
    this.runs = [run, ...this.runs.filter(({id}) => id !== run.id)];
    this.runs.sort((left, right) => right.id - left.id).splice(kept);
    this.show();
  }

  show() {
    const few = 10;
    const shown = this.showsAll ? this.runs : this.runs.slice(0, few);
    showList(byId("runs"), shown, {
      // A number may stand for another run when the server has been started again.
      key: ({id, begin}) => `${id} ${begin}`,
      make: (run) => this.make(run),
      update: (item, run) => this.update(item, run),
    });
    showLastRun(this.runs.find((run) => run.end !== null));
    show(byId("no-runs"), this.runs.length === 0);
    show(byId("more-runs"), this.runs.length > few);
    setText(byId("more-runs"), this.showsAll ? "Show fewer" : `Show all ${this.runs.length} runs`);
  }

  make(run) {
    const details = element("details", "", element("summary", "", element("span", "", "Details")),
                            element("div", "detail"));
    details.firstChild.setAttribute("aria-label", `Details of ${run.name}, ${dayAndTime(run.begin)}`);
    details.addEventListener("toggle", () => this.loadDetails(details, run.id));
    return element("li", "", element("p", "run"), element("p", "reports"), details);
  }

  update(item, run) {
    const hasEnded = run.end !== null;
    if (item.dataset.ended === "true") {
      return;
    }
    item.dataset.ended = String(hasEnded);
    item.querySelector(".run").replaceChildren(...runHeadline(run));
    showList(item.querySelector(".reports"), run.reports,
             {key: (name) => name, make: (name) => this.reportLink(name)});
    this.loadDetails(item.querySelector("details"), run.id);
  }

  reportLink(name) {
    const link = element("a", "", `Report ${name}`);
    link.href = `reports/${encodeURIComponent(name)}`;
    link.target = "_blank";
    link.rel = "noopener noreferrer";
    link.addEventListener("click", (event) => {
      if (this.session.token) {
        event.preventDefault();
        this.session.openReport(link.href);
      }
    });
    return link;
  }

  async loadDetails(details, id) {
    if (!details.open) {
      return;
    }
    const content = details.querySelector(".detail");
    try {
      content.replaceChildren(...runDetails(await this.connection.call("runs.get", {id})));
    } catch (error) {
      content.replaceChildren(element("p", "problem", `Not to be had: ${error.message}.`));
      // The next list of the runs asks for them again.
      delete details.closest("li").dataset.ended;
    }
  }
}

/** The status says "Idle" again whatever came of the run. */
function showLastRun(run) {
  const last = byId("last-run");
  const key = run ? `${run.id} ${run.begin}` : "";
  if (last.dataset.key !== key) {
    last.dataset.key = key;
    last.replaceChildren(...(run ? ["Last run: ", outcomeBadge(run), " ", element("strong", "", run.name),
                                    ", ", ageElement(run.end), " ago"] : []));
  }
}

function runHeadline(run) {
  const took = run.end ? durationBetween(run.begin, run.end) : ageElement(run.begin);
  return [outcomeBadge(run), " ", element("strong", "", run.name), " ",
          element("span", "when", timeElement(run.begin), ", ", took)];
}

function runDetails(run) {
  const asked = run.client ? `Asked for by ${run.client}` : "Asked for on the machine itself";
  const end = run.end ? [", ended ", timeElement(run.end)] : [];
  const parts = [element("p", "hint", `${asked}; began `, timeElement(run.begin), ...end, ".")];
  if (run.exceptions.length > 0) {
    parts.push(element("h3", "", "Exceptions"),
               element("ul", "exceptions", ...run.exceptions.map((text) => element("li", "bad", text))));
  }
  parts.push(element("h3", "", "Jobs"));
  parts.push(run.jobs.length > 0 ? element("ul", "job-list", ...run.jobs.map(jobEntry))
                                 : element("p", "hint", "It launched none."));
  parts.push(element("h3", "", "Status texts"), statusList(run));
  return parts;
}

function jobEntry(job) {
  const summary = job.summary ? ` – ${job.summary}` : "";
  const entry = element("li", "", outcomeBadge(job), ` ${jobKinds[job.kind]} `,
                        element("strong", "", job.name), summary);
  if (job.items.length > 0) {
    entry.append(element("ul", "", ...job.items.map(jobItem)));
  }
  return entry;
}

function jobItem({name, passed, text}) {
  return element("li", passed ? "" : "bad", `${passed ? "✓" : "✕"} ${name}${text ? `: ${text}` : ""}`);
}

function statusList({statuses, statusesLeftOut}) {
  const list = element("ol", "texts", ...statuses.map(timelineEntry));
  if (statusesLeftOut > 0) {
    list.append(element("li", "hint", `and ${wholeNumber(statusesLeftOut)} more`));
  }
  return list;
}
