// What the server tells by itself: changes by whomever, and its own notices.

export interface Hello {
  versions: Record<string, number>;
  server: string;
}

export interface Changed {
  form: string;
  version: number;
  what: "cells" | "formulas" | "structure" | "removed" | "new";
  by: string;
  name?: string;
}

export interface Notice {
  severity: "status" | "alert";
  text: string;
}

export interface EventHandlers {
  hello(event: Hello): void;
  changed(event: Changed): void;
  notice(event: Notice): void;
  // The connection is gone, and is tried again.
  lost(): void;
}

// On this machine a server that starts again should be noticed soon.
const firstWait = 250;
const longestWait = 2000;

export class Events {
  private source: EventSource | null = null;
  private wait = firstWait;

  constructor(private readonly handlers: EventHandlers) {}

  connect(): void {
    const source = new EventSource("/api/events");
    this.source = source;
    const listen = <T>(name: string, handle: (event: T) => void) =>
      source.addEventListener(name, (event) => handle(JSON.parse((event as MessageEvent<string>).data) as T));
    listen<Hello>("hello", (event) => {
      this.wait = firstWait;
      this.handlers.hello(event);
    });
    listen<Changed>("changed", (event) => this.handlers.changed(event));
    listen<Notice>("notice", (event) => this.handlers.notice(event));
    source.onerror = () => this.again();
  }

  private again(): void {
    this.source?.close();
    this.handlers.lost();
    setTimeout(() => this.connect(), this.wait);
    this.wait = Math.min(this.wait * 2, longestWait);
  }
}
