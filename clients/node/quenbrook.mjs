// A person's calendars, through the program quenbrook: one run of it for each call. The contracts stand in
// quenbrook.d.ts.

import { spawn } from "node:child_process";
import { types } from "node:util";

export class QuenbrookError extends Error {
  name = "QuenbrookError";

  constructor(code, message) {
    super(message);
    this.code = code;
  }
}

export class OutcomeUnknown extends Error {
  name = "OutcomeUnknown";
}

const AT_ONCE = 16;

const CHANGES = ["title", "start", "end", "isAllDay", "location", "notes", "alarmMinutes", "recurrenceRule"];

function dateText(date) {
  if (!types.isDate(date)) {
    throw new TypeError(`a Date was expected, not ${String(date)}`);
  }
  return date.toISOString(); // A RangeError when it is invalid.
}

// What JSON would turn into null, and the program then take as left out, is no request.
function checked(key, value) {
  const given = this[key];
  if (typeof given === "number" && !Number.isFinite(given)) {
    throw new RangeError(`${key} is ${given}`);
  }
  return types.isDate(given) ? dateText(given) : value;
}

// The fields of an event as a request names them. One that nobody knows would have no effect.
function eventFields(fields, known) {
  const unknown = Object.keys(fields).filter((key) => !known.includes(key));
  if (unknown.length > 0) {
    throw new TypeError(`unknown: ${unknown.join(", ")}`);
  }
  const { start, end, ...others } = fields;
  return {
    ...others,
    startISO: start == null ? undefined : dateText(start),
    endISO: end == null ? undefined : dateText(end),
  };
}

// The error line is the last one: what starts the program may have its own to say.
function failure(word, status, said) {
  const line = said.toString().trim().split("\n").at(-1);
  try {
    const { code, error } = JSON.parse(line);
    if (typeof code === "string" && typeof error === "string") {
      return new QuenbrookError(code, error);
    }
  } catch {
    // No error line, so nothing is known.
  }
  return new OutcomeUnknown(`${word} ended with status ${status}: ${line}`);
}

function answer(word, said) {
  const text = said.toString();
  try {
    return JSON.parse(text);
  } catch {
    throw new OutcomeUnknown(`${word} ended without an answer`);
  }
}

export class Quenbrook {
  #program;
  #timeout;
  #running = 0;
  #waiting = [];

  constructor(program = "quenbrook", { timeout } = {}) {
    this.#program = program;
    this.#timeout = timeout;
  }

  async listCalendars() {
    return (await this.#run("list-calendars", {})).calendars;
  }

  async listEvents(start, end, calendarIds) {
    const request = { startISO: dateText(start), endISO: dateText(end), calendarIds };
    return (await this.#run("list-events", request)).events;
  }

  async getEvent(calendarId, eventId) {
    return (await this.#run("get-event", { calendarId, eventId })).event;
  }

  async getAttendeeStatus(id) {
    return (await this.#run("get-attendee-status", { id })).attendees;
  }

  async createEvent(event) {
    dateText(event.start);
    dateText(event.end);
    return this.#run("create-event", eventFields(event, [...CHANGES, "calendarId", "attendeesV2"]));
  }

  async updateEvent(id, changes) {
    const patch = eventFields(changes, [...CHANGES, "clearRecurrenceRules"]);
    return this.#run("update-event", { id, patch });
  }

  async cancelEvent(id) {
    return this.#run("cancel-event", { id });
  }

  // A thousand runs at once would want thousands of descriptors, so the later ones wait for the earlier.
  async #run(word, request) {
    const text = JSON.stringify(request, checked);
    if (this.#running === AT_ONCE) {
      await new Promise((go) => this.#waiting.push(go));
    } else {
      ++this.#running;
    }
    try {
      return answer(word, await this.#start(word, text));
    } finally {
      const go = this.#waiting.shift();
      if (go) {
        go();
      } else {
        --this.#running;
      }
    }
  }

  #start(word, text) {
    return new Promise((resolve, reject) => {
      const child = spawn(this.#program, [word], { timeout: this.#timeout, killSignal: "SIGKILL" });
      child.on("error", reject);
      if (child.pid === undefined) {
        return;
      }
      const [output, errors] = [child.stdout, child.stderr].map((stream) => {
        const chunks = [];
        stream.on("data", (chunk) => chunks.push(chunk));
        return () => Buffer.concat(chunks);
      });
      // A program that ends before it has read everything says why.
      child.stdin.on("error", () => {});
      child.stdin.end(text);
      child.on("exit", (_, signal) => {
        if (signal) {
          // Whatever it has started may hold the pipes open for long.
          child.stdout.destroy();
          child.stderr.destroy();
          const why = child.killed ? `took longer than ${this.#timeout} ms` : `was killed by ${signal}`;
          reject(new OutcomeUnknown(`${word} ${why}`));
        }
      });
      child.on("close", (status) => {
        if (status === 0) {
          resolve(output());
        } else {
          reject(failure(word, status, errors()));
        }
      });
    });
  }
}
