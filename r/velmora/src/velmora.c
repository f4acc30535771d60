/* The glue between R and the C interface of Velmora. A session belongs to an external pointer, so R's
 * collector closes what an error leaves open. */
#define R_NO_REMAP
#include <R.h>
#include <R_ext/Rdynload.h>
#include <Rinternals.h>
#include <string.h>
#include <velmora.h>

static void close_session(SEXP pointer) {
  velmora_close(R_ExternalPtrAddr(pointer));
  R_ClearExternalPtr(pointer);
}

static void free_result(SEXP pointer) {
  velmora_result_free(R_ExternalPtrAddr(pointer));
  R_ClearExternalPtr(pointer);
}

static void free_bins(SEXP pointer) {
  velmora_bins_free(R_ExternalPtrAddr(pointer));
  R_ClearExternalPtr(pointer);
}

/* Made before the handle, so that no failure of R's memory loses one. The caller protects it. */
static SEXP new_owner(R_CFinalizer_t finalizer) {
  SEXP owner = PROTECT(R_MakeExternalPtr(NULL, R_NilValue, R_NilValue));
  R_RegisterCFinalizerEx(owner, finalizer, TRUE);
  UNPROTECT(1);
  return owner;
}

static void check(const velmora_session* session, int code) {
  if (code == VELMORA_OK) return;
  Rf_error("%s", velmora_last_error(session));
}

static const char* text_of(SEXP text) { return Rf_translateCharUTF8(STRING_ELT(text, 0)); }

static SEXP utf8(const char* text) {
  SEXP value = PROTECT(Rf_allocVector(STRSXP, 1));
  SET_STRING_ELT(value, 0, Rf_mkCharCE(text, CE_UTF8));
  UNPROTECT(1);
  return value;
}

/* Ctrl-C of R ends the call: it is checked in a top-level context, which an interrupt leaves. */
static void look_for_interrupt(void* unused) {
  (void)unused;
  R_CheckUserInterrupt();
}
static int report(void* user, const char* stage, double fraction) {
  (void)user, (void)stage, (void)fraction;
  return R_ToplevelExec(look_for_interrupt, NULL) ? 0 : 1;
}

static void add_column(velmora_session* session, const char* name, SEXP column) {
  const R_xlen_t count = Rf_xlength(column);
  if (TYPEOF(column) == REALSXP) {
    check(session, velmora_add_numbers(session, name, REAL(column), count));
  } else {
    const char** texts = (const char**)R_alloc((size_t)count + 1, sizeof *texts);
    for (R_xlen_t i = 0; i < count; ++i) {
      SEXP cell = STRING_ELT(column, i);
      texts[i] = cell == NA_STRING ? NULL : Rf_translateCharUTF8(cell);
    }
    check(session, velmora_add_texts(session, name, texts, count));
  }
}

/* data: a named list of doubles and character vectors, or the path of a file; reading: options of it. */
static velmora_session* open_session(SEXP owner, SEXP data, SEXP reading) {
  velmora_session* session = NULL;
  check(NULL, velmora_open(&session, NULL));
  R_SetExternalPtrAddr(owner, session);
  velmora_set_progress(session, report, NULL);
  if (TYPEOF(data) == STRSXP) {
    check(session, velmora_read_file(session, text_of(data), text_of(reading)));
    return session;
  }
  SEXP names = Rf_getAttrib(data, R_NamesSymbol);
  for (R_xlen_t i = 0; i < Rf_xlength(data); ++i) {
    const void* const memory = vmaxget();
    add_column(session, Rf_translateCharUTF8(STRING_ELT(names, i)), VECTOR_ELT(data, i));
    vmaxset(memory);
  }
  return session;
}

/* Runs an analysis. folder: where its tables go as CSV files. Returns list(csv, json, notices, bins), texts;
 * bins is NULL for a ranking. */
static SEXP run(SEXP analysis, SEXP data, SEXP reading, SEXP options, SEXP folder) {
  SEXP session_owner = PROTECT(new_owner(close_session));
  SEXP result_owner = PROTECT(new_owner(free_result));
  SEXP bins_owner = PROTECT(new_owner(free_bins));
  velmora_session* session = open_session(session_owner, data, reading);
  velmora_result* result = NULL;
  check(session, velmora_run_once(session, text_of(analysis), text_of(options), &result));
  R_SetExternalPtrAddr(result_owner, result);
  SEXP found = PROTECT(Rf_allocVector(VECSXP, 4));
  SET_VECTOR_ELT(found, 2, utf8(velmora_notices(session)));
  const char* const formats[] = {"csv", "json"};
  for (int i = 0; i < 2; ++i) {
    const char* text = NULL;
    check(session, velmora_result_text(result, formats[i], &text, NULL));
    SET_VECTOR_ELT(found, i, utf8(text));
  }
  check(session, velmora_result_write(result, text_of(folder), "csv"));
  velmora_bins* bins = NULL;
  if (velmora_result_bins(result, 0, &bins) == VELMORA_OK) {
    R_SetExternalPtrAddr(bins_owner, bins);
    const char* text = NULL;
    check(session, velmora_bins_text(bins, "json", &text, NULL));
    SET_VECTOR_ELT(found, 3, utf8(text));
  }
  free_bins(bins_owner);
  free_result(result_owner);
  close_session(session_owner);
  UNPROTECT(4);
  return found;
}

static int is_present(const struct ArrowArray* array, int64_t i) {
  const uint8_t* const bits = array->buffers[0];
  return bits == NULL || (bits[i / 8] >> (i % 8) & 1) != 0;
}

/* Text i of a column of texts ("U"). */
static SEXP text_at(const struct ArrowArray* array, int64_t i) {
  const int64_t* const ends = array->buffers[1];
  const char* const bytes = array->buffers[2];
  return Rf_mkCharLenCE(bytes + ends[i], (int)(ends[i + 1] - ends[i]), CE_UTF8);
}

/* A column as the library gives them, without an offset: doubles ("g"), or numbers ("i") of texts. */
static SEXP column_of(const struct ArrowSchema* schema, const struct ArrowArray* array) {
  const int is_text = schema->dictionary != NULL;
  if (!is_text && schema->format[0] != 'g') Rf_error("Column %s is of no known type.", schema->name);
  SEXP column = PROTECT(Rf_allocVector(is_text ? STRSXP : REALSXP, array->length));
  for (int64_t i = 0; i < array->length; ++i) {
    const int present = is_present(array, i);
    if (!is_text)
      REAL(column)[i] = present ? ((const double*)array->buffers[1])[i] : NA_REAL;
    else
      SET_STRING_ELT(column, i,
                     present ? text_at(array->dictionary, ((const int32_t*)array->buffers[1])[i]) : NA_STRING);
  }
  UNPROTECT(1);
  return column;
}

struct stream_owner {
  struct ArrowArrayStream stream;
  struct ArrowSchema schema;
  struct ArrowArray array;
};

static void free_stream(SEXP pointer) {
  struct stream_owner* owner = R_ExternalPtrAddr(pointer);
  if (owner == NULL) return;
  if (owner->array.release != NULL) owner->array.release(&owner->array);
  if (owner->schema.release != NULL) owner->schema.release(&owner->schema);
  if (owner->stream.release != NULL) owner->stream.release(&owner->stream);
  R_Free(owner);
  R_ClearExternalPtr(pointer);
}

/* Codes data with saved bins: a named list of columns, in one batch. */
static SEXP apply(SEXP json, SEXP data, SEXP reading) {
  SEXP session_owner = PROTECT(new_owner(close_session));
  SEXP bins_owner = PROTECT(new_owner(free_bins));
  SEXP stream_pointer = PROTECT(new_owner(free_stream));
  struct stream_owner* const owner = R_Calloc(1, struct stream_owner);
  R_SetExternalPtrAddr(stream_pointer, owner);
  velmora_session* session = open_session(session_owner, data, reading);
  velmora_bins* bins = NULL;
  const char* const text = text_of(json);
  check(session, velmora_load_bins(session, text, strlen(text), &bins));
  R_SetExternalPtrAddr(bins_owner, bins);
  check(session, velmora_bins_apply(bins, &owner->stream));
  if (owner->stream.get_schema(&owner->stream, &owner->schema) != 0 ||
      owner->stream.get_next(&owner->stream, &owner->array) != 0)
    Rf_error("There is not enough memory for this.");
  const int64_t count = owner->schema.n_children;
  SEXP columns = PROTECT(Rf_allocVector(VECSXP, count));
  SEXP names = PROTECT(Rf_allocVector(STRSXP, count));
  for (int64_t i = 0; i < count; ++i) {
    SET_STRING_ELT(names, i, Rf_mkCharCE(owner->schema.children[i]->name, CE_UTF8));
    SET_VECTOR_ELT(columns, i, column_of(owner->schema.children[i], owner->array.children[i]));
  }
  Rf_setAttrib(columns, R_NamesSymbol, names);
  free_stream(stream_pointer);
  free_bins(bins_owner);
  close_session(session_owner);
  UNPROTECT(5);
  return columns;
}

static const R_CallMethodDef methods[] = {
    {"run", (DL_FUNC)&run, 5}, {"apply", (DL_FUNC)&apply, 3}, {NULL, NULL, 0}};

void R_init_velmora(DllInfo* info) {
  R_registerRoutines(info, NULL, methods, NULL, NULL);
  R_useDynamicSymbols(info, FALSE);
}
