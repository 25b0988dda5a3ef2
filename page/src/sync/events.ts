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

// The name of the lock and of the channel.
const shared = "ktnotebook-events";

type Told =
  | { name: "hello"; event: Hello }
  | { name: "changed"; event: Changed }
  | { name: "notice"; event: Notice }
  | { name: "lost" }
  // By a page that has just come.
  | { name: "new" };

// A browser has no more than six connections to a server, whatever its pages do. So one of them, the
// one that holds the lock, listens and tells the others.
export class Events {
  private readonly channel = new BroadcastChannel(shared);
  private wait = firstWait;
  // What a page that comes has to know; null while there is no connection, or another page has it.
  private present: Hello | null = null;

  constructor(private readonly handlers: EventHandlers) {}

  connect(): void {
    this.channel.onmessage = ({ data }: MessageEvent<Told>) => this.hear(data);
    this.channel.postMessage({ name: "new" } satisfies Told);
    // The lock is kept as long as the page is there. A page that comes from another machine gets none.
    if (!("locks" in navigator)) return this.listen();
    void navigator.locks.request(shared, () => new Promise<never>(() => this.listen()));
  }

  private listen(): void {
    const source = new EventSource("/api/events");
    for (const name of ["hello", "changed", "notice"] as const) {
      source.addEventListener(name, (event) => this.tell({ name, event: JSON.parse(event.data) }));
    }
    source.onerror = () => {
      source.close();
      this.tell({ name: "lost" });
      setTimeout(() => this.listen(), this.wait);
      this.wait = Math.min(this.wait * 2, longestWait);
    };
  }

  // All pages, this one too.
  private tell(told: Told): void {
    this.note(told);
    this.channel.postMessage(told);
    this.hear(told);
  }

  private note(told: Told): void {
    if (told.name === "hello") {
      this.wait = firstWait;
      this.present = told.event;
    } else if (told.name === "lost") {
      this.present = null;
    } else if (told.name === "changed" && this.present !== null) {
      const { form, name, version, what } = told.event;
      delete this.present.versions[form];
      if (what !== "removed") this.present.versions[name ?? form] = version;
    }
  }

  private hear(told: Told): void {
    switch (told.name) {
      case "hello": return this.handlers.hello(told.event);
      case "changed": return this.handlers.changed(told.event);
      case "notice": return this.handlers.notice(told.event);
      case "lost": return this.handlers.lost();
      case "new":
        if (this.present !== null) this.channel.postMessage({ name: "hello", event: this.present });
    }
  }
}
