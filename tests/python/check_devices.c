/* check_devices LIBRARY RULES DEVICES ANSWERS: the outcomes that the C interface reports, for records_test.py.

   All four are property-list files. The documents are not signed. DEVICES: an array of {attributes, sources}; ANSWERS:
   an array of {verdict, reason, description, rule, fault, station}, with "records", "domain", "code" and "text" if
   there are any. */

#include <stdio.h>
#include <stdlib.h>
#include <tavik/tavik.h>

static void require(tavik_status status, const char* what) {
  if (status == TAVIK_OK) return;
  fprintf(stderr, "check_devices: %s: %s\n", what, tavik_status_text(status));
  exit(1);
}

static void trust(void* host, const tavik_value* document, const char* publicKeyPath, tavik_verdict* verdict) {
  (void)host;
  (void)publicKeyPath;
  require(tavik_verdict_trust(verdict, document), "trust");
}

static tavik_value* read(const char* path) {
  tavik_value* value = NULL;
  require(tavik_property_list_read_file(path, &value, NULL), path);
  return value;
}

static tavik_rules* prepare(const char* libraryPath, const char* rulesPath) {
  tavik_platform_callbacks callbacks = {0};
  tavik_platform* platform = NULL;
  tavik_kernel* kernel = NULL;
  tavik_value* localRules = read(rulesPath);
  tavik_rules* rules = NULL;
  callbacks.struct_size = sizeof callbacks;
  callbacks.validate = trust;
  require(tavik_platform_new(&callbacks, &platform), "platform");
  require(tavik_kernel_new(libraryPath, platform, &kernel, NULL), libraryPath);
  require(tavik_kernel_prepare(kernel, localRules, &rules, NULL), rulesPath);
  tavik_value_release(&localRules);
  tavik_kernel_release(&kernel);
  tavik_platform_release(&platform);
  return rules;
}

static tavik_value* check(const tavik_rules* rules, const tavik_value* device) {
  tavik_value* attributes = NULL;
  tavik_value* sources = NULL;
  tavik_value* station = NULL;
  tavik_value* records = NULL;
  tavik_value* answer = NULL;
  tavik_outcome* outcome = NULL;
  tavik_error* error = NULL;
  require(tavik_dictionary_get(device, "attributes", TAVIK_TO_NUL, &attributes), "attributes");
  require(tavik_dictionary_get(device, "sources", TAVIK_TO_NUL, &sources), "sources");
  require(tavik_rules_run(rules, attributes, sources, NULL, &outcome, NULL), "run");
  require(tavik_value_new_dictionary(&answer), "answer");
  require(tavik_dictionary_set_integer(answer, "verdict", tavik_outcome_verdict(outcome)), "verdict");
  require(tavik_dictionary_set_string(answer, "reason", tavik_outcome_reason(outcome)), "reason");
  require(tavik_dictionary_set_string(answer, "description", tavik_outcome_description(outcome)), "description");
  require(tavik_dictionary_set_string(answer, "rule", tavik_outcome_rule(outcome)), "rule");
  require(tavik_dictionary_set_integer(answer, "fault", tavik_outcome_fault(outcome)), "fault");
  require(tavik_outcome_station(outcome, &station), "station");
  require(tavik_dictionary_set(answer, "station", TAVIK_TO_NUL, station), "station");
  if (tavik_outcome_records(outcome, &records) == TAVIK_OK)
    require(tavik_dictionary_set(answer, "records", TAVIK_TO_NUL, records), "records");
  require(tavik_outcome_error(outcome, &error), "error");
  if (error != NULL) {
    require(tavik_dictionary_set_string(answer, "domain", tavik_error_domain(error)), "domain");
    require(tavik_dictionary_set_integer(answer, "code", tavik_error_code(error)), "code");
    require(tavik_dictionary_set_string(answer, "text", tavik_error_text(error)), "text");
  }
  tavik_error_release(&error);
  tavik_outcome_release(&outcome);
  tavik_value_release(&records);
  tavik_value_release(&station);
  tavik_value_release(&sources);
  tavik_value_release(&attributes);
  return answer;
}

static void writeAnswers(const tavik_value* answers, const char* path) {
  tavik_value* document = NULL;
  const uint8_t* bytes = NULL;
  size_t length = 0;
  FILE* const file = fopen(path, "wb");
  require(tavik_property_list_write(answers, TAVIK_FORMAT_BINARY, &document, NULL), "write");
  require(tavik_value_get_data(document, &bytes, &length), "bytes");
  if (file == NULL || fwrite(bytes, 1, length, file) != length || fclose(file) != 0) exit(1);
  tavik_value_release(&document);
}

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  tavik_rules* rules = prepare(argv[1], argv[2]);
  tavik_value* devices = read(argv[3]);
  tavik_value* answers = NULL;
  size_t count = 0;
  require(tavik_value_get_count(devices, &count), argv[3]);
  require(tavik_value_new_array(&answers), "answers");
  for (size_t i = 0; i < count; ++i) {
    tavik_value* device = NULL;
    require(tavik_array_get(devices, i, &device), argv[3]);
    tavik_value* answer = check(rules, device);
    require(tavik_array_append(answers, answer), "append");
    tavik_value_release(&answer);
    tavik_value_release(&device);
  }
  writeAnswers(answers, argv[4]);
  tavik_value_release(&answers);
  tavik_value_release(&devices);
  tavik_rules_release(&rules);
  return 0;
}
