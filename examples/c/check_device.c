/* check_device PUBLIC_KEY LIBRARY LOCAL_RULES DEVICE [SOURCE=FILE]...: checks one device, whose attributes and sources
   are property-list files, and prints a line per rule.

   Exit status: 0 if the device passed, 1 if it failed, 2 if there is no verdict. */

#include <stdio.h>
#include <string.h>
#include <tavik/tavik_platform.h>

enum { kPassed = 0, kFailed = 1, kNoVerdict = 2 };

/* The state of a running station. */
typedef struct Station {
  tavik_kernel* kernel;
  tavik_rules* rules;
} Station;

/* Reports why a step failed. */
static int reportFailure(const char* what, tavik_status status, tavik_error** error) {
  printf("no verdict: %s: %s\n", what, *error != NULL ? tavik_error_text(*error) : tavik_status_text(status));
  tavik_error_release(error);
  return kNoVerdict;
}

static tavik_status openStation(Station* station, char** files, tavik_error** error) {
  tavik_platform* platform = NULL;
  tavik_value* localRules = NULL;
  tavik_status status = tavik_station_platform_new(files[0], TAVIK_LOG_NONE, &platform);
  if (status == TAVIK_OK) status = tavik_kernel_new(files[1], platform, &station->kernel, error);
  if (status == TAVIK_OK) status = tavik_property_list_read_file(files[2], &localRules, error);
  if (status == TAVIK_OK) status = tavik_kernel_prepare(station->kernel, localRules, &station->rules, error);
  tavik_value_release(&localRules); /* releasing null does nothing */
  tavik_platform_release(&platform);
  return status;
}

static void closeStation(Station* station) {
  tavik_rules_release(&station->rules);
  tavik_kernel_release(&station->kernel);
}

/* Prints a text that may contain control characters from the device. */
static void show(const char* text, size_t length) {
  tavik_value* visible = NULL;
  const char* shown = "";
  size_t size = 0;
  if (tavik_visible_text(text, length, &visible) == TAVIK_OK) tavik_value_get_string(visible, &shown, &size);
  printf("%.*s", (int)size, shown);
  tavik_value_release(&visible);
}

/* Prints an entry of a record, which can be any value. */
static void printEntry(const tavik_value* record, const char* key) {
  tavik_value* value = NULL;
  tavik_value* description = NULL;
  const char* text = "";
  size_t length = 0;
  tavik_dictionary_get(record, key, TAVIK_TO_NUL, &value);
  tavik_value_describe(value, &description);
  tavik_value_get_string(description, &text, &length);
  printf("  %s: ", key);
  show(text, length);
  puts("");
  tavik_value_release(&description);
  tavik_value_release(&value);
}

static void printRecord(const tavik_value* record) {
  const char* rule = "";
  size_t length = 0;
  int32_t result = 0;
  tavik_dictionary_get_string(record, "rule", &rule, &length);
  tavik_dictionary_get_boolean(record, "result", &result);
  printf("%s ", result ? "pass" : "FAIL");
  show(rule, length);
  puts("");
  if (result) return;
  printEntry(record, "actual");
  printEntry(record, "expected");
}

static void printRecords(const tavik_outcome* outcome) {
  tavik_value* records = NULL;
  size_t count = 0;
  tavik_outcome_rule_records(outcome, &records);
  tavik_value_get_count(records, &count);
  for (size_t i = 0; i < count; ++i) {
    tavik_value* record = NULL;
    if (tavik_array_get(records, i, &record) == TAVIK_OK) printRecord(record);
    tavik_value_release(&record);
  }
  tavik_value_release(&records);
}

static int report(const tavik_outcome* outcome) {
  const char* const rule = tavik_outcome_rule(outcome);
  printRecords(outcome);
  switch (tavik_outcome_verdict(outcome)) {
    case TAVIK_PASSED:
      return kPassed;
    case TAVIK_FAILED:
      return kFailed;
    default:
      printf("no verdict: ");
      if (*rule != '\0') printf("rule \"%s\": ", rule);
      show(tavik_outcome_description(outcome), TAVIK_TO_NUL);
      puts("");
      return kNoVerdict;
  }
}

/* The dictionary of sources from arguments such as "sfc=shop-floor.plist". */
static tavik_status readSources(char** arguments, int count, tavik_value** sources, tavik_error** error) {
  tavik_status status = tavik_value_new_dictionary(sources);
  for (int i = 0; i < count && status == TAVIK_OK; ++i) {
    const char* const equals = strchr(arguments[i], '=');
    tavik_value* source = NULL;
    if (equals == NULL) return TAVIK_BAD_ARGUMENT;
    status = tavik_property_list_read_file(equals + 1, &source, error);
    if (status == TAVIK_OK)
      status = tavik_dictionary_set(*sources, arguments[i], (size_t)(equals - arguments[i]), source);
    tavik_value_release(&source);
  }
  return status;
}

static int check(const Station* station, char** arguments, int count) {
  tavik_error* error = NULL;
  tavik_value* device = NULL;
  tavik_value* sources = NULL;
  tavik_outcome* outcome = NULL;
  tavik_status status = tavik_property_list_read_file(arguments[0], &device, &error);
  if (status == TAVIK_OK) status = readSources(arguments + 1, count - 1, &sources, &error);
  if (status == TAVIK_OK) status = tavik_rules_run(station->rules, device, sources, NULL, &outcome, &error);
  const int verdict = status == TAVIK_OK ? report(outcome) : reportFailure(arguments[0], status, &error);
  tavik_outcome_release(&outcome);
  tavik_value_release(&sources);
  tavik_value_release(&device);
  return verdict;
}

int main(int argc, char** argv) {
  if (argc < 5) {
    fprintf(stderr, "usage: %s PUBLIC_KEY LIBRARY LOCAL_RULES DEVICE [SOURCE=FILE]...\n", argv[0]);
    return kNoVerdict;
  }
  Station station = {NULL, NULL};
  tavik_error* error = NULL;
  const tavik_status status = openStation(&station, argv + 1, &error);
  const int verdict =
      status == TAVIK_OK ? check(&station, argv + 4, argc - 4) : reportFailure("rule documents", status, &error);
  closeStation(&station);
  return verdict;
}
