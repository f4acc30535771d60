// The dialogs of the module in a page: a frontend of the dialog runtime that describes dialogs and
// questions as JSON and takes user actions from a channel. It runs in a child of the worker, which
// holds the session.
//
// Messages to the server, with the id of the request:
//   dialogs    {"dialogs", "question", "messages", "documents"}: what is shown, when it changes
//   progress   {"stage", "fraction"} of a command that takes long; fraction 1 at its end
// Frames of the type "action" from the server, each with one of
//   {"do":"press","dialog":1,"control":17}        {"do":"page","dialog":1,"page":2}
//   {"do":"type","dialog":1,"control":5,"text":"0.5"}
//   {"do":"choose","dialog":1,"control":8,"item":2}
//   {"do":"answer","question":3, ...}
//                             answers the question with that number: "cancel": true, or by its kind
//                             "lists" (of names), "texts", "include" and "exclude", "name", "path",
//                             "file", or "replace": true
//   {"do":"interrupt"}        cancels the command that reports progress
//   {"do":"results","format":"html"}
//                             is answered by a frame "result" with the bytes
#pragma once

#include "workbench/data/table.h"
#include "workbench/report/json_text.h"
#include "workbench/server/channel.h"

namespace velmora {

// Shows the startup dialog of request's "analysis" with its cases ("select", "exclude", "weight")
// and serves until the last dialog is closed or the server is gone. table: its measurements are
// inferred. Throws ModuleError, DataError, UsageError.
void ServeDialogs(Channel& channel, std::uint64_t id, const Json& request, Table table);

}  // namespace velmora
