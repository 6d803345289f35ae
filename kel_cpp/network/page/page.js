"use strict";

/** The page for people: shows what the server tells, and asks it to start and to cancel. */
class Page {
  constructor() {
    this.connection = new Connection({
      opened: () => this.orTryAgain(this.opened()),
      lost: (why) => this.lost(why),
      notified: (method, params) => this.notified(method, params),
    });
    this.session = new Session(this.connection);
    this.session.onLogIn = () => this.orTryAgain(this.watch());
    this.status = new StatusView();
    this.underWay = new UnderWayView(this.connection);
    this.runs = new RunsView(this.connection, this.session);
    this.controls = new Controls(this.connection);
    this.controls.onStart = () => this.started();
    this.refresher = new Refresher(() => this.load(),
                                   () => this.connection.drop("the server does not answer"));
    this.isWatching = false;
    this.comparedClocks = -Infinity;
  }

  begin() {
    const refreshInterval = 5000;
    this.controls.setObstacle("Not connected yet.");
    setInterval(() => this.tick(), 1000);
    setInterval(() => this.refresh(), refreshInterval);
    document.addEventListener("visibilitychange", () => this.becameVisible());
    window.addEventListener("online", () => this.connection.open());
    this.connection.open();
  }

  /** Whatever keeps the page from watching, a new connection begins from scratch. */
  async orTryAgain(step) {
    const {socket} = this.connection;
    try {
      await step;
    } catch (error) {
      this.connection.drop(error.message, socket);
    }
  }

  /** While nobody tells whether it still lasts, nothing gets older. */
  tick() {
    tickTimes();
    if (this.isWatching) {
      tickAges();
    }
  }

  async opened() {
    if (await this.session.begin()) {
      await this.watch();
    } else {
      this.connection.succeeded();
      this.tellConnection("quiet", "Not logged in");
      document.title = "kel_server";
    }
  }

  async watch() {
    this.status.reset();
    const subscribed = this.connection.call("status.subscribe");
    const history = await this.connection.call("status.history");
    await subscribed;
    this.status.add(history);
    this.connection.succeeded();
    this.isWatching = true;
    this.tellConnection("good", "Connected");
    this.controls.setObstacle(this.session.role === "control" ? "" :
                              "This token may watch: it can neither start nor cancel.");
    this.comparedClocks = -Infinity;
    this.refresher.ask();
    setText(byId("version"), await this.connection.call("server.version"));
  }

  lost(why) {
    const cause = why ? ` (${why})` : "";
    this.isWatching = false;
    this.underWay.forget();
    this.tellConnection("bad", `Not connected${cause}. Trying again …`);
    this.controls.setObstacle("Not connected: nothing can be started or cancelled.");
    document.title = "Not connected – kel_server";
  }

  tellConnection(kind, text) {
    const chip = byId("connection");
    chip.className = `chip ${kind}`;
    setText(chip, text);
    document.body.classList.toggle("stale", kind === "bad");
    setText(byId("status-heading"), kind === "bad" ? "Last known status" : "Status");
  }

  /** The ages on the page are those of the server's clock. Now and then somebody sets a clock. */
  async compareClocks() {
    const interval = 600_000;
    if (performance.now() - this.comparedClocks < interval) {
      return;
    }
    this.comparedClocks = performance.now();
    try {
      const answer = await fetch("./", {method: "HEAD", cache: "no-store", signal: AbortSignal.timeout(10_000)});
      setServerTime(Date.parse(answer.headers.get("Date")));
    } catch {
      // The next load tries again.
      this.comparedClocks = -Infinity;
    }
  }

  notified(method, params) {
    if (method === "status.changed") {
      this.status.add([params]);
      this.refresh();
    } else if (method === "run.ended") {
      this.runs.ended(params);
      this.refresh();
    } else if (method === "job.progress" && !document.hidden && this.underWay.progressed(params)) {
      this.refresh();
    }
  }

  /** A start that waits is told of by nobody. The server takes it a moment after it was asked. */
  started() {
    this.refresh();
    this.refresh();
  }

  /** Nobody looks at a hidden page. */
  refresh() {
    if (this.isWatching && !document.hidden) {
      this.refresher.ask();
    }
  }

  becameVisible() {
    if (!document.hidden) {
      this.connection.open();
      this.refresh();
    }
  }

  async load() {
    const methods = ["jobs.list", "runs.list", "sequence.waiting", "sequence.lastCancel",
                     "sequence.list", "vehicle.get", "connections.list"];
    const [jobs, runs, waiting, lastCancel, scripts, vehicle, connections] =
      await Promise.all(methods.map((method) => this.connection.call(method)));
    this.underWay.setJobs(jobs);
    this.runs.load(runs);
    this.controls.showResting(lastCancel);
    this.controls.loadScripts(scripts);
    showVehicle(vehicle);
    showClients(connections);
    this.compareClocks();
    await this.underWay.load(runs, waiting);
  }
}

function showVehicle({project, vehicleInformation, interface: connection}) {
  setText(byId("project"), project || "none selected");
  setText(byId("vehicle-information"), vehicleInformation || "none selected");
  setText(byId("interface"), connection || "not connected");
}

/** The list has the vehicle, too, which the page shows elsewhere. */
function showClients(connections) {
  const prefix = "client ";
  const clients = connections.filter((text) => text.startsWith(prefix));
  setText(byId("clients-heading"), `Connected clients (${clients.length})`);
  showList(byId("clients"), clients,
           {key: (text) => text, make: (text) => element("li", "", text.slice(prefix.length))});
}

new Page().begin();
