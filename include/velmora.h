/* Velmora as a library: ranks and bins the predictors of a table, from any language that calls C.
 *
 *   velmora_session* session;
 *   velmora_result* result;
 *   const char* options = "{\"dependents\": [\"risk\"]}";
 *   const char* json;
 *   if (velmora_open(&session, NULL) != VELMORA_OK) return 1;
 *   if (velmora_read_file(session, "credit.csv", NULL) == VELMORA_OK &&
 *       velmora_run(session, "feature-selection", options, &result) == VELMORA_OK) {
 *     if (velmora_result_text(result, "json", &json, NULL) == VELMORA_OK) puts(json);
 *     velmora_result_free(result);
 *   } else {
 *     fprintf(stderr, "%s\n", velmora_last_error(session));
 *   }
 *   velmora_close(session);
 *
 * Rules of every function
 * - It returns VELMORA_OK or another code below; velmora_last_error then gives one sentence.
 *   Outputs are written only on success.
 * - Texts are UTF-8 and end with a null character. A text that a function hands out belongs to the
 *   object that it was asked of and is valid until the next call that takes this object.
 * - One call at a time per session, from any thread; sessions run side by side. Results, bins and
 *   objects count as part of their session and may outlive velmora_close. A child process made by
 *   fork() cannot use the sessions of its parent.
 * - Options are a JSON object whose members are the long options of the command line without the
 *   dashes: {"dependents": ["risk"], "casewise": true, "p-criterion": 0.001}. A null or empty text
 *   means no options. A list repeats the option; {"missing": {"age": [-9, -8]}} is
 *   --missing age=-9,-8.
 *
 * The binary interface grows; nothing in it is removed or changes within one major version.
 */
#ifndef VELMORA_H
#define VELMORA_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#if defined(VELMORA_BUILDS_LIBRARY)
#define VELMORA_API __declspec(dllexport)
#else
#define VELMORA_API __declspec(dllimport)
#endif
#else
#define VELMORA_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The structures of the Arrow C data and stream interfaces, whose layout Apache Arrow fixes. */
#ifndef ARROW_C_DATA_INTERFACE
#define ARROW_C_DATA_INTERFACE
#define ARROW_FLAG_DICTIONARY_ORDERED 1
#define ARROW_FLAG_NULLABLE 2
#define ARROW_FLAG_MAP_KEYS_SORTED 4
struct ArrowSchema {
  const char* format;
  const char* name;
  const char* metadata;
  int64_t flags;
  int64_t n_children;
  struct ArrowSchema** children;
  struct ArrowSchema* dictionary;
  void (*release)(struct ArrowSchema*);
  void* private_data;
};
struct ArrowArray {
  int64_t length;
  int64_t null_count;
  int64_t offset;
  int64_t n_buffers;
  int64_t n_children;
  const void** buffers;
  struct ArrowArray** children;
  struct ArrowArray* dictionary;
  void (*release)(struct ArrowArray*);
  void* private_data;
};
#endif
#ifndef ARROW_C_STREAM_INTERFACE
#define ARROW_C_STREAM_INTERFACE
struct ArrowArrayStream {
  int (*get_schema)(struct ArrowArrayStream*, struct ArrowSchema* out);
  int (*get_next)(struct ArrowArrayStream*, struct ArrowArray* out);
  const char* (*get_last_error)(struct ArrowArrayStream*);
  void (*release)(struct ArrowArrayStream*);
  void* private_data;
};
#endif

enum {
  VELMORA_OK = 0,
  VELMORA_FAILED = 1,    /* the data, a file or the analysis */
  VELMORA_BAD_USE = 2,   /* an argument, an option or a name */
  VELMORA_CANCELLED = 3, /* by velmora_cancel or the progress function */
  VELMORA_NO_MEMORY = 4
};

typedef struct velmora_session velmora_session; /* a table and the module that analyses it */
typedef struct velmora_result velmora_result;   /* an analysis that has run */
typedef struct velmora_bins velmora_bins;       /* bins to code other data with */
typedef struct velmora_state velmora_state;     /* what is known of a part of the data */
typedef struct velmora_rows velmora_rows;       /* the rows that a database answers with */
typedef struct velmora_object velmora_object;   /* an automation object: a dialog, a document, ... */

/* "1.1.0" */
VELMORA_API const char* velmora_version(void);

/* --- Sessions */

/* options: "module" (the file of the analysis module; default: beside this library). */
VELMORA_API int velmora_open(velmora_session** session, const char* options);
/* Drops the session's table. Null is ignored, here and in the functions that free. */
VELMORA_API void velmora_close(velmora_session* session);
/* Of the latest call that failed; never null. A null session: of this thread's latest failure
 * without one. */
VELMORA_API const char* velmora_last_error(const velmora_session* session);
/* Notices of the session's latest call, such as variables left out: a JSON array of texts. */
VELMORA_API const char* velmora_notices(const velmora_session* session);

/* Called about twenty times a second on the thread whose call is working. stage: what is being
 * done; fraction: 0 to 1. A result other than 0 cancels the call. It must not call the session. */
typedef int (*velmora_progress)(void* user, const char* stage, double fraction);
VELMORA_API int velmora_set_progress(velmora_session* session, velmora_progress function, void* user);
/* Ends the call that is working, from any thread. Without one it has no effect. */
VELMORA_API void velmora_cancel(velmora_session* session);

/* --- Data: a session has one table. Each function leaves the table as it was when it fails. */

/* Replaces the table by that of a file or of a database server (postgresql://..., mysql://...); an
 * empty path reads the files that a query names. options: "missing-text", "missing", "date-parts",
 * "since"; of a text file "delimiter", "encoding", "no-header" and "ragged", of a workbook "sheet"
 * and "range", of a database "table" and "sql-from". */
VELMORA_API int velmora_read_file(velmora_session* session, const char* path, const char* options);
/* Replaces the table by the rows of a stream of record batches, which is taken over and released,
 * also after a failure unless session is null. Numbers, booleans, texts, dictionaries, dates,
 * points in time and decimals become variables; columns of lists and structures are left out with
 * a notice. Columns of doubles that are all finite, without nulls, in a stream of one batch are not
 * copied: they must not change before the batch is released, which is when the session has another
 * table or none. Results do not need it.
 * options: "missing-text", "missing". */
VELMORA_API int velmora_take_stream(velmora_session* session, struct ArrowArrayStream* stream,
                                    const char* options);
/* The same for one record batch. */
VELMORA_API int velmora_take_batch(velmora_session* session, struct ArrowSchema* schema,
                                   struct ArrowArray* batch, const char* options);
/* Adds a variable, copied, to the table, which must have count cases or no variable yet. NaN is
 * missing. */
VELMORA_API int velmora_add_numbers(velmora_session* session, const char* name, const double* values,
                                    int64_t count);
/* Null and empty texts are missing. */
VELMORA_API int velmora_add_texts(velmora_session* session, const char* name, const char* const* texts,
                                  int64_t count);
VELMORA_API int velmora_clear_data(velmora_session* session);
/* The variables as the JSON of "velmora variables". */
VELMORA_API int velmora_variables(velmora_session* session, const char** json);

/* --- Analyses */

/* analysis: "feature-selection" or "screen". options: those of the command, except for the ones
 * that read or write files. The session's table stays. The caller frees the result. */
VELMORA_API int velmora_run(velmora_session* session, const char* analysis, const char* options,
                            velmora_result** result);
/* The same, and the session has no data afterwards, even when it fails: the run takes the table
 * over, which would be copied otherwise. */
VELMORA_API int velmora_run_once(velmora_session* session, const char* analysis, const char* options,
                                 velmora_result** result);
VELMORA_API void velmora_result_free(velmora_result* result);
/* format: "json", "csv", "terminal", "html", or "xlsx" (bytes). length may be null. */
VELMORA_API int velmora_result_text(velmora_result* result, const char* format, const char** text,
                                    size_t* length);
/* table: "ranking" (a row per outcome and predictor, best first) or, of a screening, "bins" (a row
 * per bin). Columns are the members of the JSON in snake case. The caller releases the stream. */
VELMORA_API int velmora_result_table(velmora_result* result, const char* table,
                                     struct ArrowArrayStream* stream);
/* Writes the files of --out DIR, all or none. formats: names between commas; null for all. */
VELMORA_API int velmora_result_write(velmora_result* result, const char* folder, const char* formats);

/* --- Bins */

/* The bins of the best predictors of each response of a screening; best 0: of all. Of a scorecard:
 * its own. */
VELMORA_API int velmora_result_bins(velmora_result* result, int best, velmora_bins** bins);
/* From the JSON that velmora_bins_text gives and "velmora screen --bins" writes. */
VELMORA_API int velmora_load_bins(velmora_session* session, const char* json, size_t length,
                                  velmora_bins** bins);
VELMORA_API void velmora_bins_free(velmora_bins* bins);
/* format: "json", "python", "sql", or "sql:DIALECT" with a value of --sql-dialect; of bins with a
 * scorecard "pmml", too. */
VELMORA_API int velmora_bins_text(velmora_bins* bins, const char* format, const char** text, size_t* length);
/* Corrects the bins by hand, by the counts that are saved with them. edit: a member of "edits" in
 * the JSON of saved bins (docs/json.md), such as
 * {"operation": "merge", "predictor": "age", "bins": [0, 1]}. */
VELMORA_API int velmora_bins_edit(velmora_bins* bins, const char* edit);
/* Takes the last edit back; without one it fails. */
VELMORA_API int velmora_bins_undo(velmora_bins* bins);
/* Codes the table of the bins' session: one column for the label of each predictor's bin and one
 * for each figure, null where a case has no bin. The caller releases the stream. */
VELMORA_API int velmora_bins_apply(velmora_bins* bins, struct ArrowArrayStream* stream);
/* The same. options: "unseen", what becomes of levels that the bins do not have: "missing" (the
 * bin of missing values), "error" (VELMORA_BAD_USE), or the label of a bin. */
VELMORA_API int velmora_bins_apply_with(velmora_bins* bins, const char* options,
                                        struct ArrowArrayStream* stream);
/* Makes points of the bins by logistic regression on the table of their session. options: those of
 * "velmora scorecard", except for the ones that read or write files. Tables of the result:
 * "points", "coefficients", "quality", "scores"; velmora_result_bins gives the bins with the
 * scorecard. The caller frees the result. */
VELMORA_API int velmora_bins_scorecard(velmora_bins* bins, const char* options, velmora_result** result);
/* Compares the table of the bins' session with the cases that the bins were made from. options:
 * "response", "select", "exclude", "weight", "fail-on". Tables of the result: "ranking" (a row per
 * predictor), "groups", "bins". The caller frees the result. */
VELMORA_API int velmora_bins_monitor(velmora_bins* bins, const char* options, velmora_result** result);

/* --- Data in parts, on one computer or many
 *
 * Each part gives a state of the first pass; merged, they give the empty state of the second pass,
 * which the parts fill again; merged, the two give the result. States travel as bytes, merge in any
 * order, and are small however many cases there are:
 *
 *   velmora_state_new(session, "feature-selection", options, NULL, &survey);   each part:
 *   velmora_state_update(survey, &part);
 *   velmora_state_bytes(survey, &bytes, &length);                    elsewhere, in one place:
 *   velmora_state_merge(survey, bytes, length);
 *   velmora_state_next(survey, &bytes, &length);                     each part:
 *   velmora_state_load(session, bytes, length, &sums);               ... update, bytes, merge
 *   velmora_state_finish(survey, sums, &result);
 *
 * Computers of one run need the same version of this library.
 */

/* analysis, options: as of velmora_run, without what needs all cases in one place. settings:
 * "cells" (different numbers of a variable that are kept apart, 6400), "levels" (different texts,
 * 100000) and, of rows that have been counted elsewhere, "cases" and "squares" (columns: how many
 * cases a row is, and the sum of their squared weights). The caller frees the state. */
VELMORA_API int velmora_state_new(velmora_session* session, const char* analysis, const char* options,
                                  const char* settings, velmora_state** state);
/* From the bytes that the functions below give. */
VELMORA_API int velmora_state_load(velmora_session* session, const char* bytes, size_t length,
                                   velmora_state** state);
VELMORA_API void velmora_state_free(velmora_state* state);
/* Adds the cases of a stream, which is taken over and released. All parts have the same columns. */
VELMORA_API int velmora_state_update(velmora_state* state, struct ArrowArrayStream* stream);
/* Adds the state of other cases of the same run. */
VELMORA_API int velmora_state_merge(velmora_state* state, const char* bytes, size_t length);
VELMORA_API int velmora_state_bytes(velmora_state* state, const char** bytes, size_t* length);
/* The bytes of the empty state of the second pass. */
VELMORA_API int velmora_state_next(velmora_state* state, const char** bytes, size_t* length);
/* first, second: of all cases. The caller frees the result. */
VELMORA_API int velmora_state_finish(velmora_state* first, velmora_state* second, velmora_result** result);

/* --- Inside a database: it counts the cases, and only counts, sums, moments and quantiles leave it */

/* Runs a statement of SQL and gives its rows to velmora_rows_add, in order. Called one at a time, on
 * the session's own thread. A result other than VELMORA_OK ends the analysis with VELMORA_FAILED. */
typedef int (*velmora_query)(void* user, const char* sql, velmora_rows* rows);
/* One row; each cell as a text that reads back to the same value, null for null. */
VELMORA_API int velmora_rows_add(velmora_rows* rows, const char* const* cells, size_t count);
/* analysis, options: as of velmora_run, without what needs cases; also "where" (a condition in SQL) and
 * "cells" (different numbers of a column that are counted one by one, 400; beyond it the database cuts at
 * as many quantiles). database: "dialect" (postgresql or duckdb) and "table" (NAME or SCHEMA.NAME).
 * The table must not change meanwhile. The caller frees the result. */
VELMORA_API int velmora_run_in_database(velmora_session* session, const char* analysis, const char* options,
                                        const char* database, velmora_query query, void* user,
                                        velmora_result** result);

/* --- Automation objects: dialogs and documents of the workbench, which docs/scripting.md describes
 *
 *   velmora_object *application, *data;
 *   velmora_value file = {VELMORA_TEXT, 0, 10, {.text = "credit.csv"}}, opened, count;
 *   velmora_application(session, NULL, &application);
 *   velmora_object_call(application, "Open", &file, 1, &opened);
 *   data = opened.as.object;
 *   velmora_object_get(data, "CaseCount", &count);    count.as.integer
 *
 * An object with Count and Item is a collection, whose items have the numbers 1 to Count. Calls of
 * objects count as calls of their session: they report progress, can be cancelled, have notices.
 */

enum {
  VELMORA_EMPTY = 0, /* nothing: a missing cell, a closed dialog */
  VELMORA_INTEGER = 1,
  VELMORA_REAL = 2,
  VELMORA_TEXT = 3,
  VELMORA_OBJECT = 4,
  VELMORA_ARRAY = 5
};

typedef struct velmora_value {
  int32_t type;     /* one of the above; says which member of "as" holds the value */
  int32_t reserved; /* 0 */
  int64_t length;   /* the bytes of a text, or the items of an array; otherwise 0 */
  union {
    int64_t integer; /* beyond 32 bits: passed as a double, if it holds the number exactly */
    double real;
    const char* text;
    velmora_object* object;
    const struct velmora_value* items;
  } as;
} velmora_value;

/* The application of the session, which the first call starts with the session's table, if it has
 * one; the session has no table then. options, of the first call: "quiet" (no messages of analyses,
 * only notices and failures), "decimal-separator" (of numbers in labels), "log" (a file to which the
 * module's log is appended; the program must be linked with this library, or have loaded it with
 * RTLD_GLOBAL). velmora_close ends the application: calls of its
 * objects fail then. The caller frees the object. */
VELMORA_API int velmora_application(velmora_session* session, const char* options,
                                    velmora_object** application);
/* From any thread, also while a call of the session is working, and after velmora_close. */
VELMORA_API void velmora_object_free(velmora_object* object);
/* The object's interface: "Application", "Spreadsheet", ... Constant; never null. */
VELMORA_API const char* velmora_object_interface(const velmora_object* object);
/* The interface as JSON: name, help, and members, each with name, signature, help, argument names
 * and whether it can be called, read and written. */
VELMORA_API int velmora_object_members(velmora_object* object, const char** json);
/* Names of members are not case-sensitive. Wrong names, numbers of arguments and types are
 * VELMORA_BAD_USE; a member that fails is VELMORA_FAILED. Texts and arrays of a value belong to the
 * object and are valid until its next call; the caller frees the objects that a value holds. */
VELMORA_API int velmora_object_get(velmora_object* object, const char* member, velmora_value* value);
VELMORA_API int velmora_object_put(velmora_object* object, const char* member, const velmora_value* value);
/* Methods, and properties with arguments. arguments: count values; null when count is 0. result may
 * be null. */
VELMORA_API int velmora_object_call(velmora_object* object, const char* member,
                                    const velmora_value* arguments, size_t count, velmora_value* result);
/* When the latest call of a member of the object was VELMORA_FAILED because the member failed: its
 * name with its interface, the reason, and the number of the automation error, 0 for none. Each
 * output may be null. Otherwise VELMORA_BAD_USE. */
VELMORA_API int velmora_object_failure(velmora_object* object, const char** member, const char** reason,
                                       int32_t* number);

#ifdef __cplusplus
}
#endif

#endif /* VELMORA_H */
