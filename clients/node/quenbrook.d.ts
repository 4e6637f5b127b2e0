// What quenbrook.mjs offers. Answers are what the protocol says, under the protocol's names.

export type Frequency = "daily" | "weekly" | "monthly" | "yearly";

export interface Calendar {
  id: string;
  name: string;
  writable: boolean;
  source?: string;
  sourceType?: "local" | "exchange" | "caldav" | "subscription" | "birthdays" | "unknown";
  color?: string;
}

export interface Attendee {
  email: string;
  name: string;
  status: "pending" | "accepted" | "declined" | "unknown";
}

export interface RecurrenceRule {
  frequency: Frequency;
  interval: number;
  count?: number;
  untilISO?: string;
  daysOfWeek?: number[];
  daysOfMonth?: number[];
  monthsOfYear?: number[];
}

export interface Event {
  id: string;
  calendarId: string;
  title: string;
  startISO: string;
  endISO: string;
  isAllDay: boolean;
  attendees: Attendee[];
  hasAlarms: boolean;
  recurrenceRuleCount: number;
  recurrenceRules: RecurrenceRule[];
  location?: string;
  notes?: string;
  lastModifiedISO?: string;
  categories?: ("velmoria-sync" | "no-sync")[];
  availability?: "busy" | "free" | "tentative" | "unavailable";
}

export interface ChangeWarning {
  code: string;
  message: string;
  detail?: string;
}

export interface Created {
  id: string;
  calendarId: string;
  startISO: string;
  endISO: string;
  warnings?: ChangeWarning[];
}

export interface Updated {
  id: string;
  updated: true;
  warnings?: ChangeWarning[];
}

export interface Cancelled {
  id: string;
  cancelled: true;
}

export interface NewRecurrenceRule {
  frequency: Frequency;
  interval: number;
  count?: number | null;
  untilISO?: string | Date | null;
}

export interface Invitee {
  email: string;
  name?: string | null;
}

/** What is left out, undefined or null, stays as it is; an empty text or list empties. */
export interface Changes {
  title?: string | null;
  start?: Date | null;
  end?: Date | null;
  isAllDay?: boolean | null;
  location?: string | null;
  notes?: string | null;
  alarmMinutes?: number[] | null;
  recurrenceRule?: NewRecurrenceRule | null;
  clearRecurrenceRules?: boolean | null;
}

/** Addresses in attendeesV2 are checked, and nobody is invited. */
export interface NewEvent {
  calendarId: string;
  title: string;
  start: Date;
  end: Date;
  isAllDay?: boolean | null;
  location?: string | null;
  notes?: string | null;
  alarmMinutes?: number[] | null;
  recurrenceRule?: NewRecurrenceRule | null;
  attendeesV2?: Invitee[] | null;
}

/** The program refused, and nothing was changed unless its page says otherwise. The message is for people. */
export class QuenbrookError extends Error {
  constructor(code: ErrorCode, message: string);
  readonly name: "QuenbrookError";
  readonly code: ErrorCode;
}

export type ErrorCode =
  | "ACCESS_DENIED"
  | "CALENDAR_NOT_FOUND"
  | "EVENT_NOT_FOUND"
  | "READ_ONLY_CALENDAR"
  | "INVALID_DATE"
  | "INVALID_JSON"
  | "UNKNOWN_SUBCOMMAND"
  | "MISSING_ARGS"
  | "EVENT_STORE_SAVE_FAILED"
  | "EVENT_STORE_REMOVE_FAILED"
  | "UNKNOWN";

/** The program was killed, ran out of its time or said what it never says: a change may have been made or
 *  not. */
export class OutcomeUnknown extends Error {
  readonly name: "OutcomeUnknown";
}

/**
 * One run of the program for each call; any number of calls at once. Promises are rejected with a
 * QuenbrookError, with OutcomeUnknown, with Node's own error when the program cannot be started, and with a
 * TypeError or RangeError, nothing started, when a request cannot be one: an invalid Date, a number that is
 * none, a key that nobody knows.
 */
export class Quenbrook {
  /** A name to be found in PATH, or a path ("quenbrook"). A run that lasts longer than the timeout, in
   *  milliseconds, is killed; without one it may take as long as it needs. */
  constructor(program?: string, options?: { timeout?: number });

  listCalendars(): Promise<Calendar[]>;

  /** Every occurrence in the range. Of calendars that are not known the others are searched; with none that
   *  is, or an empty list, all are. */
  listEvents(start: Date, end: Date, calendarIds?: string[] | null): Promise<Event[]>;

  getEvent(calendarId: string, eventId: string): Promise<Event>;
  getAttendeeStatus(id: string): Promise<Attendee[]>;
  createEvent(event: NewEvent): Promise<Created>;
  updateEvent(id: string, changes: Changes): Promise<Updated>;
  cancelEvent(id: string): Promise<Cancelled>;
}
