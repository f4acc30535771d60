import { render } from "preact";
import { App } from "./App";
import "./app.css";
import { start } from "./store";

render(<App />, document.getElementById("app") as HTMLElement);
void start();
