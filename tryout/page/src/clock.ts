import type { Moment } from "./core";

const openedAt = Date.now() - new Date().getTimezoneOffset() * 60_000; // local

/** The clock of the simulation, which may run faster than real time. */
export class TrialClock {
  private base = 0;
  private since = performance.now();
  private speed = 1;

  /** Milliseconds since the page was opened. */
  ms(): number {
    return this.base + (performance.now() - this.since) * this.speed;
  }

  setSpeed(speed: number): void {
    this.base = this.ms();
    this.since = performance.now();
    this.speed = speed;
  }

  now(): Moment {
    const ms = Math.floor(this.ms());
    return { ms, local_s: Math.floor((openedAt + ms) / 1000) };
  }
}
