import "./styles/page.css";
import { startApp } from "./app";

void startApp(document.body);
