/* Ranks the variables of a data file by their relation to an outcome, then screens it when it has
 * two classes:
 *
 *   rank DATA OUTCOME [GOOD BAD]
 *
 * Build it with the library beside the command:
 *   cc samples/c/rank.c -Iinclude -Lbuild -lvelmora -Wl,-rpath,$PWD/build -o rank
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "velmora.h"

static int show_stage(void* user, const char* stage, double fraction) {
  FILE* const stream = user;
  if (*stage != '\0') fprintf(stream, "%s %.0f %%\n", stage, 100 * fraction);
  return 0; /* go on */
}

static int fail(velmora_session* session) {
  fprintf(stderr, "rank: %s\n", velmora_last_error(session));
  velmora_close(session);
  return 1;
}

/* Runs an analysis and prints it in a format. */
static int show(velmora_session* session, const char* analysis, const char* options, const char* format) {
  velmora_result* result = NULL;
  const char* text = NULL;
  int code = velmora_run(session, analysis, options, &result);
  if (code == VELMORA_OK) code = velmora_result_text(result, format, &text, NULL);
  if (code == VELMORA_OK) fputs(text, stdout);
  velmora_result_free(result);
  return code;
}

int main(int argument_count, char** arguments) {
  velmora_session* session = NULL;
  char options[1024];
  if (argument_count != 3 && argument_count != 5) {
    fprintf(stderr, "usage: rank DATA OUTCOME [GOOD BAD]\n");
    return 2;
  }
  if (velmora_open(&session, NULL) != VELMORA_OK) return fail(NULL);
  velmora_set_progress(session, show_stage, stderr);
  if (velmora_read_file(session, arguments[1], NULL) != VELMORA_OK) return fail(session);

  /* A name with a quotation mark or a backslash would need escaping. */
  snprintf(options, sizeof options, "{\"dependents\": [\"%s\"], \"best\": 5}", arguments[2]);
  if (show(session, "feature-selection", options, "terminal") != VELMORA_OK) return fail(session);
  if (argument_count == 5) {
    snprintf(options, sizeof options, "{\"binary-response\": \"%s\", \"good\": \"%s\", \"bad\": \"%s\", \"best\": 1}",
             arguments[2], arguments[3], arguments[4]);
    if (show(session, "screen", options, "terminal") != VELMORA_OK) return fail(session);
  }
  velmora_close(session);
  return 0;
}
