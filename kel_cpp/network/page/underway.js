"use strict";

/** What runs, what it is waiting for, and what waits behind it. */
class UnderWayView {
  constructor(connection) {
    this.connection = connection;
    this.jobs = new Map();
    this.run = null;
    this.waiting = [];
  }

  /** While nobody tells, nothing is known. */
  forget() {
    this.setJobs([]);
    this.run = null;
    this.waiting = [];
    this.show("Not known while the server is not connected.");
  }

  setJobs(list) {
    this.jobs = new Map(list.map((job) => [job.job, job]));
    this.showJobs();
  }

  /** True when the job has done all of its work, so that the list of jobs tells whether it is over. */
  progressed(job) {
    this.jobs.set(job.job, job);
    this.showJobs();
    return job.done >= job.total;
  }

  async load(runs, waiting) {
    const running = runs.find((run) => run.end === null);
    this.waiting = waiting;
    this.run = running ? await this.withJob(running) : null;
    this.show();
  }

  /** A run has many status texts: its record is asked for only when the running jobs have changed. */
  async withJob(run) {
    const jobs = [...this.jobs.keys()].join();
    if (this.run?.id === run.id && this.run.begin === run.begin && this.run.jobs === jobs) {
      return this.run;
    }
    const record = await this.connection.call("runs.get", {id: run.id});
    return {...run, jobs, job: record.jobs.findLast((job) => job.end === null) ?? null};
  }

  show(hint = "Nothing runs and nothing waits.") {
    const lines = [...runLines(this.run), ...this.waiting.map(waitingLine)];
    showList(byId("under-way"), lines, {key: ({key}) => key, make: ({make}) => make()});
    setText(byId("under-way-hint"), hint);
    this.showWhetherIdle();
  }

  showJobs() {
    const shown = [...this.jobs.values()].filter(({kind}) => kind === "flash" || kind === "quickTest");
    showList(byId("jobs"), shown, {key: ({job}) => job, make: makeBar, update: updateBar});
    this.showWhetherIdle();
  }

  showWhetherIdle() {
    const isIdle = !byId("under-way").firstChild && !byId("jobs").firstChild;
    show(byId("under-way-hint"), isIdle);
  }
}


function runLines(run) {
  if (!run) {
    return [];
  }
  const asked = run.client ? `, asked for by ${run.client}` : "";
  const lines = [{key: `run ${run.id}`, make: () => element(
    "li", "", "Runs: ", element("strong", "", run.name), " for ", ageElement(run.begin),
    ", since ", timeElement(run.begin), asked)}];
  if (run.job) {
    lines.push({key: `job ${run.id} ${run.job.begin} ${run.job.name}`, make: () => element(
      "li", "", `Waiting for: ${jobKinds[run.job.kind]} `, element("strong", "", run.job.name),
      " for ", ageElement(run.job.begin), ", since ", timeElement(run.job.begin))});
  }
  return lines;
}

function waitingLine(start, place) {
  return {key: `start ${place} ${start.since} ${start.name}`, make: () => element(
    "li", "", "Waits for its turn: ", element("strong", "", start.name), " for ",
    ageElement(start.since), ", since ", timeElement(start.since), `, asked for by ${start.client}`)};
}

function makeBar({kind, job}) {
  const label = element("label", "", element("span", "what", jobKinds[kind]),
                        element("span", "how-far", ""));
  const bar = element("progress", "");
  bar.id = `progress-${job}`;
  label.htmlFor = bar.id;
  return element("li", "", label, bar);
}

function updateBar(item, job) {
  const bar = item.querySelector("progress");
  const unit = job.controlUnit ? ` – ${job.controlUnit}` : "";
  setText(item.querySelector(".what"), jobKinds[job.kind] + unit);
  if (job.total === 0) {
    bar.removeAttribute("value");
    setText(item.querySelector(".how-far"), "begun");
    return;
  }
  bar.max = job.total;
  bar.value = job.done;
  setText(item.querySelector(".how-far"), howFar(job));
}

function howFar({done, total, unit}) {
  const words = {units: "control units", bytes: "bytes"};
  const percent = Math.floor((100 * done) / total);
  return `${wholeNumber(done)} of ${wholeNumber(total)} ${words[unit] ?? unit}, ${percent} %`;
}
