"use strict";

/** The server's answer to a call that it refused. */
class CallError extends Error {}

/** The connection ended before the answer came. */
class ConnectionLost extends Error {}

/**
 * JSON-RPC 2.0 over one WebSocket that is opened again whenever it ends. Listeners:
 * opened(), lost(why, secondsToNextTry), notified(method, params).
 */
class Connection {
  constructor(listeners) {
    this.listeners = listeners;
    this.socket = null;
    this.failures = 0;
    this.retry = null;
    this.lastId = 0;
    this.pending = new Map();
  }

  open() {
    clearTimeout(this.retry);
    if (this.socket) {
      return;
    }
    const address = new URL("rpc", location.href);
    address.protocol = address.protocol === "https:" ? "wss:" : "ws:";
    const socket = new WebSocket(address);
    this.socket = socket;
    socket.onopen = () => this.listeners.opened();
    socket.onmessage = (event) => this.receive(JSON.parse(event.data));
    socket.onclose = (event) => this.drop(event.reason);
    this.expectOpen(socket);
  }

  /** A machine that has left the network lets an attempt wait for minutes. */
  expectOpen(socket) {
    const patience = 10_000;
    setTimeout(() => {
      if (socket.readyState === WebSocket.CONNECTING) {
        this.drop("the server does not answer", socket);
      }
    }, patience);
  }

  /**
   * Ends the connection at once: its own closing handshake could take long. Whoever speaks of a socket
   * ends no later one.
   */
  drop(why, socket = this.socket) {
    if (!socket || socket !== this.socket) {
      return;
    }
    this.socket = null;
    socket.onopen = socket.onmessage = socket.onclose = null;
    socket.close();
    const lost = [...this.pending.values()];
    this.pending.clear();
    lost.forEach(({reject}) => reject(new ConnectionLost("the connection was lost")));
    this.retryLater(why);
  }

  retryLater(why) {
    const longest = 4000;
    const wait = Math.min(longest, 250 * 2 ** this.failures++);
    // Many pages that lost one server do not come back all at once.
    const spread = wait * (0.75 + Math.random() / 4);
    this.retry = setTimeout(() => this.open(), spread);
    this.listeners.lost(why);
  }

  /** The server has answered: the next attempts come quickly again. */
  succeeded() {
    this.failures = 0;
  }

  call(method, params = {}) {
    if (this.socket?.readyState !== WebSocket.OPEN) {
      return Promise.reject(new ConnectionLost("the server is not connected"));
    }
    const id = ++this.lastId;
    this.socket.send(JSON.stringify({jsonrpc: "2.0", id, method, params}));
    return new Promise((resolve, reject) => this.pending.set(id, {resolve, reject}));
  }

  receive(message) {
    if (message.method) {
      this.listeners.notified(message.method, message.params);
      return;
    }
    const call = this.pending.get(message.id);
    this.pending.delete(message.id);
    if (message.error) {
      call?.reject(new CallError(message.error.message));
    } else {
      call?.resolve(message.result);
    }
  }
}
