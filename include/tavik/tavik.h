/// @file
/// The check kernel for programs in C, and for whatever calls C: C#, LabVIEW, Rust, Go.
///
///     tavik_value* device = NULL;
///     tavik_outcome* outcome = NULL;
///     tavik_value_new_dictionary(&device);
///     tavik_dictionary_set_string(device, "ModelNumber", "MD123");
///     tavik_rules_run(rules, device, NULL, NULL, &outcome, NULL);
///     if (tavik_outcome_verdict(outcome) == TAVIK_NO_VERDICT) puts(tavik_outcome_description(outcome));
///     tavik_outcome_release(&outcome);
///     tavik_value_release(&device);
///
/// What the operations do is said in the C++ headers (ZRTTavikKernel.h, PropertyList.h, ...), to which they keep. What
/// holds for all functions of this header and of tavik_platform.h, which compile as C11 and as C++20:
///
/// 1. **Status.** Every operation that can fail returns a `tavik_status`, TAVIK_OK when it did what it says. Nothing is
///    thrown, no misuse that can be told ends the process, and nothing is kept about the last failure.
/// 2. **Ownership.** A handle that a function gives (`tavik_value** value`, `tavik_error** error`, always by address)
///    is the caller's, to be released once by the `_release` function of its type. Handles that a function takes are
///    borrowed for the length of the call; only what its name says to change is changed, and nothing handed in is ever
///    taken over but the `user_data` of tavik_platform_new. What a handle was made of may be released before it.
/// 3. **Release** takes the address of the handle's variable and sets it to null; releasing null does nothing. So one
///    variable released twice is no mistake. A second variable that still names a released handle is one that cannot be
///    told for sure: it must not be used.
/// 4. **Outputs.** A handle's variable is set to null first and to the handle on success; what it held before is not
///    released. Any other output is written on success only. Exceptions are said at the function.
/// 5. **Null.** A pointer must not be null, else TAVIK_NULL_ARGUMENT, unless the function says what null means; `error`
///    may always be null. A handle of another type, or released, is TAVIK_BAD_HANDLE as far as that can be told.
/// 6. **Text** goes in and comes out as UTF-8. A length may be TAVIK_TO_NUL for "up to the first NUL"; a text or bytes
///    of length 0 may be null. What is no UTF-8 is refused (TAVIK_NOT_UTF8). Text and bytes that come out belong to the
///    handle that they came from and hold until that is changed or released; text from values has no NUL at its end.
/// 7. **Copies.** A container that is got out of another, or put into one, is a copy, which costs next to nothing:
///    changing it changes nothing else. Values of any depth are handled.
/// 8. **Threads.** Handles may be used from any thread, by several at once as long as none changes or releases them.
///    Kernels, rules and platforms never change. There is no global state.
/// 9. **Failures** that have more to say than their status come with an error, a text for people with domain and code:
///    TAVIK_ERROR has the kernel's own. Memory that runs out gives TAVIK_NO_MEMORY and no error.
/// 10. **Versions.** Functions, statuses and kinds are added, never changed, within a major version of the library;
///     each addition raises TAVIK_INTERFACE_VERSION. The one struct tells its size.
///
/// Types are pointers, `size_t`, 32 and 64-bit integers and doubles alone; no struct goes by value, nothing is a macro
/// that has to be a function, and enumerations are `int32_t`.
#ifndef TAVIK_TAVIK_H
#define TAVIK_TAVIK_H

#include <tavik/Export.h>

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// A property-list value; arrays and dictionaries can be changed.
typedef struct tavik_value tavik_value;
/// Says which documents are trusted, and takes the log.
typedef struct tavik_platform tavik_platform;
/// A check kernel with its rule library.
typedef struct tavik_kernel tavik_kernel;
/// Local rules made ready for the check of many devices.
typedef struct tavik_rules tavik_rules;
/// What a check run came to.
typedef struct tavik_outcome tavik_outcome;
/// What went wrong.
typedef struct tavik_error tavik_error;
/// A platform's answer about one document.
typedef struct tavik_verdict tavik_verdict;

/// @name Versions
/// @{
#define TAVIK_INTERFACE_VERSION 2

/// The TAVIK_INTERFACE_VERSION of the library that is loaded: at least what a host was compiled with, or it lacks
/// functions.
TAVIK_EXPORT int32_t tavik_interface_version(void);
/// The library's version, 3.19.
TAVIK_EXPORT double tavik_version(void);
/// @}

/// @name Statuses and errors
/// @{
typedef int32_t tavik_status;
enum {
  TAVIK_OK = 0,
  TAVIK_ERROR = 1,                   ///< the rule documents are wrong: the kernel's error, codes as in Error.h
  TAVIK_FAULT_OUT_OF_RANGE = 2,      ///< a fault: rules ask for what a device cannot give
  TAVIK_FAULT_INVALID_ARGUMENT = 3,  ///< a fault: rules or documents lack what must be there
  TAVIK_REFUSED = 4,                 ///< a file, bytes, a rule library or a value is not what it has to be
  TAVIK_NO_MEMORY = 5,
  TAVIK_NOT_FOUND = 6,            ///< a dictionary has no such key
  TAVIK_NULL_ARGUMENT = 7,        ///< a pointer is null that must not be
  TAVIK_BAD_HANDLE = 8,           ///< a handle of another type, or one that is released already
  TAVIK_WRONG_KIND = 9,           ///< a value of another kind than is asked for
  TAVIK_INDEX_OUT_OF_RANGE = 10,  ///< an array is not that long
  TAVIK_NOT_UTF8 = 11,            ///< a text is malformed
  TAVIK_BAD_ARGUMENT = 12,        ///< a number is none of those allowed
  TAVIK_INTERNAL = 13,            ///< anything else
};

/// What a status means, in a few words. Never null; lives as long as the library is loaded.
TAVIK_EXPORT const char* tavik_status_text(tavik_status status);

/// What went wrong, for people. Ends in NUL; holds as long as the error. Of null the empty text.
TAVIK_EXPORT const char* tavik_error_text(const tavik_error* error);
/// "ZRT Tavik Error Domain" with TAVIK_ERROR, "Tavik C Interface" with any other status. Else as tavik_error_text.
TAVIK_EXPORT const char* tavik_error_domain(const tavik_error* error);
/// The code in that domain: -100003 to -100008 with TAVIK_ERROR, else the status. Of null 0.
TAVIK_EXPORT int64_t tavik_error_code(const tavik_error* error);
TAVIK_EXPORT tavik_status tavik_error_release(tavik_error** error);
/// @}

/// @name Values
/// @{
typedef int32_t tavik_kind;
enum {
  TAVIK_KIND_STRING = 1,
  TAVIK_KIND_INTEGER = 2,
  TAVIK_KIND_REAL = 3,
  TAVIK_KIND_BOOLEAN = 4,
  TAVIK_KIND_DATA = 5,
  TAVIK_KIND_DATE = 6,
  TAVIK_KIND_ARRAY = 7,
  TAVIK_KIND_DICTIONARY = 8,
};

/// As a length: the text ends at its first NUL.
#define TAVIK_TO_NUL SIZE_MAX

/// Seconds from 1970-01-01 00:00:00 UTC, where time_t begins, to 2001-01-01 00:00:00 UTC, where dates begin.
#define TAVIK_EPOCH_TO_DATES 978307200.0

/// Make a value, which is the caller's.
TAVIK_EXPORT tavik_status tavik_value_new_string(const char* text, size_t length, tavik_value** value);
TAVIK_EXPORT tavik_status tavik_value_new_integer(int64_t number, tavik_value** value);
TAVIK_EXPORT tavik_status tavik_value_new_real(double number, tavik_value** value);
/// truth: 0 is false, anything else true.
TAVIK_EXPORT tavik_status tavik_value_new_boolean(int32_t truth, tavik_value** value);
TAVIK_EXPORT tavik_status tavik_value_new_data(const void* bytes, size_t length, tavik_value** value);
/// seconds: from 2001-01-01 00:00:00 UTC, see TAVIK_EPOCH_TO_DATES.
TAVIK_EXPORT tavik_status tavik_value_new_date(double seconds, tavik_value** value);
TAVIK_EXPORT tavik_status tavik_value_new_array(tavik_value** value);
TAVIK_EXPORT tavik_status tavik_value_new_dictionary(tavik_value** value);
/// A value of the same contents, which is the caller's and changes by itself.
TAVIK_EXPORT tavik_status tavik_value_copy(const tavik_value* value, tavik_value** copy);
TAVIK_EXPORT tavik_status tavik_value_release(tavik_value** value);

/// Read a value, which must be of that very kind: TAVIK_WRONG_KIND also for an integer asked for as a real.
TAVIK_EXPORT tavik_status tavik_value_get_kind(const tavik_value* value, tavik_kind* kind);
/// `*text` is the value's own.
TAVIK_EXPORT tavik_status tavik_value_get_string(const tavik_value* value, const char** text, size_t* length);
TAVIK_EXPORT tavik_status tavik_value_get_integer(const tavik_value* value, int64_t* number);
TAVIK_EXPORT tavik_status tavik_value_get_real(const tavik_value* value, double* number);
/// `*truth` is 0 or 1.
TAVIK_EXPORT tavik_status tavik_value_get_boolean(const tavik_value* value, int32_t* truth);
/// `*bytes` are the value's own; null when there are none.
TAVIK_EXPORT tavik_status tavik_value_get_data(const tavik_value* value, const uint8_t** bytes, size_t* length);
TAVIK_EXPORT tavik_status tavik_value_get_date(const tavik_value* value, double* seconds);
/// Elements of an array, or entries of a dictionary.
TAVIK_EXPORT tavik_status tavik_value_get_count(const tavik_value* value, size_t* count);

/// `*equal` is 1 or 0, as `==` in Value.h.
TAVIK_EXPORT tavik_status tavik_value_equal(const tavik_value* left, const tavik_value* right, int32_t* equal);
/// The text that "%@" prints, as a string, which is the caller's. value: null reads "(null)".
TAVIK_EXPORT tavik_status tavik_value_describe(const tavik_value* value, tavik_value** text);

/// The element at `index`, from 0, which is the caller's.
TAVIK_EXPORT tavik_status tavik_array_get(const tavik_value* array, size_t index, tavik_value** element);
TAVIK_EXPORT tavik_status tavik_array_set(tavik_value* array, size_t index, const tavik_value* element);
TAVIK_EXPORT tavik_status tavik_array_append(tavik_value* array, const tavik_value* element);

/// The keys as an array of strings, in the order of the entries, which is the caller's.
TAVIK_EXPORT tavik_status tavik_dictionary_keys(const tavik_value* dictionary, tavik_value** keys);
/// The value under a key, which is the caller's; TAVIK_NOT_FOUND when there is none.
TAVIK_EXPORT tavik_status tavik_dictionary_get(const tavik_value* dictionary, const char* key, size_t key_length,
                                               tavik_value** value);
/// Stores under a key, in the place of an earlier value or last.
TAVIK_EXPORT tavik_status tavik_dictionary_set(tavik_value* dictionary, const char* key, size_t key_length,
                                               const tavik_value* value);
/// Removes the entry under a key; TAVIK_NOT_FOUND when there is none.
TAVIK_EXPORT tavik_status tavik_dictionary_erase(tavik_value* dictionary, const char* key, size_t key_length);

/// Shorthands for keys that end in NUL: as tavik_dictionary_set with a value made for it.
TAVIK_EXPORT tavik_status tavik_dictionary_set_string(tavik_value* dictionary, const char* key, const char* text);
TAVIK_EXPORT tavik_status tavik_dictionary_set_integer(tavik_value* dictionary, const char* key, int64_t number);
TAVIK_EXPORT tavik_status tavik_dictionary_set_real(tavik_value* dictionary, const char* key, double number);
TAVIK_EXPORT tavik_status tavik_dictionary_set_boolean(tavik_value* dictionary, const char* key, int32_t truth);
TAVIK_EXPORT tavik_status tavik_dictionary_set_data(tavik_value* dictionary, const char* key, const void* bytes,
                                                    size_t length);
TAVIK_EXPORT tavik_status tavik_dictionary_set_date(tavik_value* dictionary, const char* key, double seconds);

/// Shorthands to read: as tavik_value_get of the value under the key. Text and bytes are the dictionary's own.
TAVIK_EXPORT tavik_status tavik_dictionary_get_string(const tavik_value* dictionary, const char* key, const char** text,
                                                      size_t* length);
TAVIK_EXPORT tavik_status tavik_dictionary_get_integer(const tavik_value* dictionary, const char* key, int64_t* number);
TAVIK_EXPORT tavik_status tavik_dictionary_get_real(const tavik_value* dictionary, const char* key, double* number);
TAVIK_EXPORT tavik_status tavik_dictionary_get_boolean(const tavik_value* dictionary, const char* key, int32_t* truth);
TAVIK_EXPORT tavik_status tavik_dictionary_get_data(const tavik_value* dictionary, const char* key,
                                                    const uint8_t** bytes, size_t* length);
TAVIK_EXPORT tavik_status tavik_dictionary_get_date(const tavik_value* dictionary, const char* key, double* seconds);
/// @}

/// @name Property lists
/// TAVIK_REFUSED with an error that says where, what and why. See PropertyList.h.
/// @{
enum {
  TAVIK_FORMAT_XML = 1,
  TAVIK_FORMAT_BINARY = 2,
};

/// The value that the bytes of a property list stand for, in XML, binary or old-style text; it is the caller's.
TAVIK_EXPORT tavik_status tavik_property_list_read(const void* bytes, size_t length, tavik_value** value,
                                                   tavik_error** error);
/// The same of a file.
TAVIK_EXPORT tavik_status tavik_property_list_read_file(const char* path, tavik_value** value, tavik_error** error);
/// The bytes of a property list, as data, which are the caller's. format: one of the two above.
TAVIK_EXPORT tavik_status tavik_property_list_write(const tavik_value* value, int32_t format, tavik_value** data,
                                                    tavik_error** error);
/// @}

/// @name JSON
/// Values as JSON, with the mapping in Json.h. TAVIK_REFUSED with an error that says where, what and why.
/// @{
enum {
  TAVIK_JSON_ONE_LINE = 1,
  TAVIK_JSON_INDENTED = 2,
};

/// Reads a JSON text; the value is the caller's. Text that is not UTF-8 is TAVIK_REFUSED too, with its location.
TAVIK_EXPORT tavik_status tavik_json_read(const char* text, size_t length, tavik_value** value, tavik_error** error);
/// Writes a value; the text, a string, is the caller's. layout: one of the two above.
TAVIK_EXPORT tavik_status tavik_json_write(const tavik_value* value, int32_t layout, tavik_value** text,
                                           tavik_error** error);
/// @}

/// @name Platforms
/// The one of a test station is made by tavik_platform.h, that of a host with its own trust store or log here.
/// @{

/// Answers for the document that is asked about: signed, and this is what was signed. A copy is kept.
/// TAVIK_BAD_ARGUMENT when it was refused before.
TAVIK_EXPORT tavik_status tavik_verdict_trust(tavik_verdict* verdict, const tavik_value* document);
/// Answers: not to be trusted, and why. Whatever fails here, refused it is. A reason that is no UTF-8 is mended.
TAVIK_EXPORT tavik_status tavik_verdict_refuse(tavik_verdict* verdict, const char* reason, size_t length);

/// What a host does for a kernel.
///
/// A kernel calls it on the threads of its callers, several at a time. A callback returns in the ordinary way: it must
/// not throw, longjmp out of itself, nor end or cancel its thread. It may call any function of this header, but for the
/// release of what is in use. What it is given is borrowed, and only until it returns.
///
/// Set all members to zero, then `struct_size`, then those that you know: members are added at the end.
typedef struct tavik_platform_callbacks {
  /// sizeof(tavik_platform_callbacks).
  size_t struct_size;
  /// Passed to each callback.
  void* user_data;
  /// Checks a signed rule document and answers by one of the two functions above; without an answer it is refused.
  /// public_key_path: the PEM file that the kernel names, always "/usr/local/share/misc/TavikKernel-pub.pem".
  void (*validate)(void* user_data, const tavik_value* document, const char* public_key_path, tavik_verdict* verdict);
  /// Takes one line of the log, without its line end and without a NUL behind it. Null: no line is made at all.
  void (*log)(void* user_data, const char* line, size_t length);
  /// Called once, when nothing that uses the platform is left: no handle of it, no kernel, no rules. May be null.
  void (*release)(void* user_data);
} tavik_platform_callbacks;

/// A platform of these callbacks, which are copied; it is the caller's and takes over `user_data` (`release` is called
/// for it). On failure `user_data` stays the caller's.
///
/// TAVIK_BAD_ARGUMENT for a struct_size smaller than that of the first version of the struct, or larger than this
/// library's with anything but zeros in the members that it does not know.
TAVIK_EXPORT tavik_status tavik_platform_new(const tavik_platform_callbacks* callbacks, tavik_platform** platform);
TAVIK_EXPORT tavik_status tavik_platform_release(tavik_platform** platform);
/// @}

/// @name Kernels and checks
/// See ZRTTavikKernel.h. Documents, devices, sources and station dictionaries are dictionaries, else TAVIK_WRONG_KIND.
/// @{

/// A kernel over the signed rule library in a file; it is the caller's and keeps the platform. TAVIK_REFUSED, with an
/// error that says why, if the file cannot be read, is not trusted or has no rules.
TAVIK_EXPORT tavik_status tavik_kernel_new(const char* library_path, const tavik_platform* platform,
                                           tavik_kernel** kernel, tavik_error** error);
/// The same for a signed rule library in memory: the dictionary that was read, or the bytes of a property list.
TAVIK_EXPORT tavik_status tavik_kernel_new_from_document(const tavik_value* library, const tavik_platform* platform,
                                                         tavik_kernel** kernel, tavik_error** error);
TAVIK_EXPORT tavik_status tavik_kernel_new_from_bytes(const void* bytes, size_t length, const tavik_platform* platform,
                                                      tavik_kernel** kernel, tavik_error** error);
TAVIK_EXPORT tavik_status tavik_kernel_release(tavik_kernel** kernel);

/// Checks one device and says what it came to.
///
/// device: attribute name -> value. local_rules: the signed local rules; null: the outcome says that there are none.
/// sources: source name -> dictionary of attribute name -> value; null if there are none. station: the station
/// dictionary that the run begins with; null for an empty one. It is not changed: the outcome has it as the run leaves
/// it.
///
/// TAVIK_OK whatever the verdict, also if a fault ended the run. The outcome is the caller's.
TAVIK_EXPORT tavik_status tavik_kernel_run(const tavik_kernel* kernel, const tavik_value* device,
                                           const tavik_value* local_rules, const tavik_value* sources,
                                           const tavik_value* station, tavik_outcome** outcome, tavik_error** error);

/// Prepares local rules for many devices; the rules are the caller's and do not need the kernel any longer.
/// local_rules: null, or rules that are rejected, are reported by each check and by tavik_rules_rejection.
TAVIK_EXPORT tavik_status tavik_kernel_prepare(const tavik_kernel* kernel, const tavik_value* local_rules,
                                               tavik_rules** rules, tavik_error** error);
/// Why the local rules are rejected, so that no run has a verdict. Ends in NUL; valid as long as the rules. Null if
/// they are accepted, or if `rules` is not a handle of this type.
TAVIK_EXPORT const char* tavik_rules_rejection(const tavik_rules* rules);
/// As tavik_kernel_run with these rules.
TAVIK_EXPORT tavik_status tavik_rules_run(const tavik_rules* rules, const tavik_value* device,
                                          const tavik_value* sources, const tavik_value* station,
                                          tavik_outcome** outcome, tavik_error** error);
TAVIK_EXPORT tavik_status tavik_rules_release(tavik_rules** rules);

/// The required form of a check: its records, errors and faults as they are. `tavik_kernel_run` says in addition what
/// they mean: a device that was not checked has records too.
///
/// station: the station dictionary, which is changed, also if the check ends in an error or a fault; null if the host
/// has none. records: an array of dictionaries, which is the caller's. With TAVIK_ERROR it is there too, unless a
/// predicate expression is malformed: then null. Null with any other failure. Other arguments: as for tavik_kernel_run.
TAVIK_EXPORT tavik_status tavik_kernel_check(const tavik_kernel* kernel, const tavik_value* device,
                                             const tavik_value* local_rules, const tavik_value* sources,
                                             tavik_value* station, tavik_value** records, tavik_error** error);
/// As tavik_kernel_check with prepared rules.
TAVIK_EXPORT tavik_status tavik_rules_check(const tavik_rules* rules, const tavik_value* device,
                                            const tavik_value* sources, tavik_value* station, tavik_value** records,
                                            tavik_error** error);

/// What a station has to gather for a device before a check, as a dictionary, which is the caller's. TAVIK_ERROR when
/// the local rules are not trusted or cannot be put together.
TAVIK_EXPORT tavik_status tavik_kernel_sfc_check_list(const tavik_kernel* kernel, const tavik_value* local_rules,
                                                      const tavik_value* device, tavik_value** list,
                                                      tavik_error** error);
TAVIK_EXPORT tavik_status tavik_kernel_gui_check_list(const tavik_kernel* kernel, const tavik_value* local_rules,
                                                      const tavik_value* device, tavik_value** list,
                                                      tavik_error** error);
TAVIK_EXPORT tavik_status tavik_kernel_sim_check_list(const tavik_kernel* kernel, const tavik_value* local_rules,
                                                      const tavik_value* device, tavik_value** list,
                                                      tavik_error** error);
TAVIK_EXPORT tavik_status tavik_kernel_domain_list(const tavik_kernel* kernel, const tavik_value* local_rules,
                                                   const tavik_value* device, tavik_value** list, tavik_error** error);
TAVIK_EXPORT tavik_status tavik_kernel_polling_list(const tavik_kernel* kernel, const tavik_value* local_rules,
                                                    const tavik_value* device, tavik_value** list, tavik_error** error);
/// @}

/// @name Outcomes
/// See CheckOutcome.h. Texts end in NUL and are valid as long as the outcome.
/// @{
enum {
  TAVIK_PASSED = 1,      ///< the device was checked, and every rule passed
  TAVIK_FAILED = 2,      ///< the device was checked, and at least one rule failed
  TAVIK_NO_VERDICT = 3,  ///< the device was not checked; it counts as not passed
};

/// One of the three above; TAVIK_NO_VERDICT for null, or for what is not an outcome.
TAVIK_EXPORT int32_t tavik_outcome_verdict(const tavik_outcome* outcome);
/// Why there is no verdict, for programs: "no local rules", "not trusted", "empty", "not assembled", "no rules",
/// "malformed expression" or "fault". Empty if there is a verdict.
TAVIK_EXPORT const char* tavik_outcome_reason(const tavik_outcome* outcome);
/// The same for people. Empty if there is a verdict.
TAVIK_EXPORT const char* tavik_outcome_description(const tavik_outcome* outcome);
/// The rule that ended the run. Empty if no rule did.
TAVIK_EXPORT const char* tavik_outcome_rule(const tavik_outcome* outcome);
/// The fault that ended the run: TAVIK_FAULT_OUT_OF_RANGE, TAVIK_FAULT_INVALID_ARGUMENT, or TAVIK_OK for none.
TAVIK_EXPORT tavik_status tavik_outcome_fault(const tavik_outcome* outcome);
/// The kernel's own error, which is the caller's; null if there is none.
TAVIK_EXPORT tavik_status tavik_outcome_error(const tavik_outcome* outcome, tavik_error** error);
/// All records, as an array of dictionaries, which is the caller's. TAVIK_NOT_FOUND if an error or a fault left none.
TAVIK_EXPORT tavik_status tavik_outcome_records(const tavik_outcome* outcome, tavik_value** records);
/// The records that belong to rules; an empty array without a verdict.
TAVIK_EXPORT tavik_status tavik_outcome_rule_records(const tavik_outcome* outcome, tavik_value** records);
/// The station dictionary after the run, which is the caller's.
TAVIK_EXPORT tavik_status tavik_outcome_station(const tavik_outcome* outcome, tavik_value** station);
TAVIK_EXPORT tavik_status tavik_outcome_release(tavik_outcome** outcome);
/// @}

/// @name Predicates and descriptions
/// No kernel needed. What they give is the caller's.
/// @{

/// The record of a predicate expression such as "hasPrefix AND isUppercase" (AbstractTree.h).
///
/// attribute: the device's value, or null. references: the reference values by name; null calls the predicates' form
/// without references. value: the expected value, or null. platform: takes the log; null when nobody reads it.
TAVIK_EXPORT tavik_status tavik_evaluate(const char* expression, const tavik_value* attribute,
                                         const tavik_value* references, const tavik_value* value,
                                         const tavik_platform* platform, tavik_value** record, tavik_error** error);

/// "actual" and "expected" of a predicate without its verdict. attribute, expected: null when absent.
TAVIK_EXPORT tavik_status tavik_value_in_list_description(const tavik_value* attribute, const tavik_value* expected,
                                                          tavik_value** record, tavik_error** error);
/// device: a dictionary with "SerialNumber" and "TotalDiskCapacity".
TAVIK_EXPORT tavik_status tavik_nand_size_check_description(const tavik_value* device, const tavik_value* expected,
                                                            tavik_value** record, tavik_error** error);
TAVIK_EXPORT tavik_status tavik_nvram_white_list_description(const tavik_value* attribute, const tavik_value* expected,
                                                             tavik_value** record, tavik_error** error);
/// @}

/// @name Decoders
/// What a device's bytes hold, which is the caller's. Bytes need not be trusted. DER itself: DERDecoder.h.
/// @{

/// A SysCfg blob as a dictionary of tag -> value.
TAVIK_EXPORT tavik_status tavik_decode_syscfg(const void* bytes, size_t length, tavik_value** fields);
/// A control-bit block as an array of dictionaries.
TAVIK_EXPORT tavik_status tavik_decode_control_bits(const void* bytes, size_t length, tavik_value** records);
/// A manifest as a dictionary of item name -> value; TAVIK_REFUSED when the bytes are none.
TAVIK_EXPORT tavik_status tavik_decode_root_manifest(const void* bytes, size_t length, tavik_value** items);
TAVIK_EXPORT tavik_status tavik_decode_provisioning_manifest(const void* bytes, size_t length, tavik_value** items);
/// @}

#ifdef __cplusplus
}
#endif

#endif
