"use strict";

/** Who the page is for the server: its role, and the token that gave it. */
class Session {
  constructor(connection) {
    this.connection = connection;
    this.role = "none";
    byId("login").addEventListener("submit", (event) => {
      event.preventDefault();
      this.logIn(byId("token").value.trim());
    });
    byId("logout").addEventListener("click", () => this.logOut());
  }

  get token() {
    return sessionStorage.getItem("token");
  }

  /** True when the page may watch the server. */
  async begin() {
    this.role = await this.connection.call("session.role");
    if (this.role === "none" && this.token) {
      await this.tryToken(this.token);
    }
    this.show();
    return this.role !== "none";
  }

  async tryToken(token) {
    try {
      const grant = await this.connection.call("session.login", {token});
      sessionStorage.setItem("token", token);
      this.role = grant.role;
      setText(byId("login-problem"), "");
    } catch (error) {
      if (error instanceof CallError) {
        sessionStorage.removeItem("token");
      }
      setText(byId("login-problem"), `Not logged in: ${error.message}.`);
    }
  }

  async logIn(token) {
    const button = byId("login-button");
    button.disabled = true;
    setText(byId("login-problem"), "");
    await this.tryToken(token);
    button.disabled = false;
    if (this.role !== "none") {
      byId("token").value = "";
      this.onLogIn();
    }
    this.show();
  }

  logOut() {
    sessionStorage.removeItem("token");
    this.connection.drop("logged out");
    this.connection.open();
  }

  show() {
    const needsToken = this.role === "none";
    const appears = needsToken && byId("login").hidden;
    show(byId("login"), needsToken);
    show(byId("content"), !needsToken);
    show(byId("logout"), !needsToken && this.token !== null);
    if (appears) {
      byId("token").focus();
    }
  }

  /** A link cannot carry the token: the report is fetched with it and opened from memory. */
  async openReport(address) {
    const tab = window.open("", "_blank");
    const headers = {Authorization: `Bearer ${this.token}`};
    try {
      const answer = await fetch(address, {headers});
      if (!answer.ok) {
        throw new Error((await answer.text()).trim());
      }
      const memory = URL.createObjectURL(await answer.blob());
      tab.opener = null;
      tab.location.replace(memory);
      setTimeout(() => URL.revokeObjectURL(memory), 60_000);
    } catch (error) {
      tab?.close();
      tellProblem(`The report cannot be opened: ${error.message}`);
    }
  }
}
