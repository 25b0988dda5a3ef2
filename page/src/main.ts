import "./styles/page.css";
import { startApp } from "./app";

// The secret of the address is in a cookie by now: neither bookmarks nor pictures of the screen need it.
if (location.search !== "") history.replaceState(history.state, "", location.pathname + location.hash);
void startApp(document.body);
