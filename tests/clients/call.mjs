// Makes calls through the Node client, as call.py does through Python's.

import { createInterface } from "node:readline";
import { OutcomeUnknown, Quenbrook, QuenbrookError } from "quenbrook";

function revived(_, value) {
  const keys = value !== null && typeof value === "object" ? Object.keys(value).join() : "";
  if (keys === "date") return new Date(value.date ?? NaN);
  return keys === "number" ? NaN : value;
}

const METHODS = {
  "list-calendars": (client) => client.listCalendars(),
  "list-events": (client, { start, end, calendarIds }) => client.listEvents(start, end, calendarIds),
  "get-event": (client, { calendarId, eventId }) => client.getEvent(calendarId, eventId),
  "get-attendee-status": (client, { id }) => client.getAttendeeStatus(id),
  "create-event": (client, event) => client.createEvent(event),
  "update-event": (client, { id, changes }) => client.updateEvent(id, changes),
  "cancel-event": (client, { id }) => client.cancelEvent(id),
};

async function outcome(client, { word, arguments: given }) {
  try {
    return { answer: await METHODS[word](client, given) };
  } catch (error) {
    if (error instanceof QuenbrookError) return { refused: [error.code, error.message] };
    if (error instanceof OutcomeUnknown) return { unknown: error.message };
    if (error.syscall !== undefined) return { notStarted: -error.errno };
    if (error instanceof TypeError || error instanceof RangeError) return { noRequest: error.message };
    throw error;
  }
}

for await (const line of createInterface({ input: process.stdin })) {
  const task = JSON.parse(line, revived);
  process.env = task.environment;
  const timeout = task.timeout === null ? undefined : task.timeout * 1000;
  const client = new Quenbrook(task.program, { timeout });
  const outcomes = [];
  if (task.atOnce) {
    outcomes.push(...(await Promise.all(task.calls.map((call) => outcome(client, call)))));
  } else {
    for (const call of task.calls) outcomes.push(await outcome(client, call));
  }
  console.log(JSON.stringify(outcomes));
}
