/// @file
/// The check kernel for C, and for any language with a C FFI: C#, LabVIEW, Rust, Go.
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
/// The C++ headers (ZRTTavikKernel.h, PropertyList.h and so on) describe the operations in detail. The following
/// applies to all functions in this header and in tavik_platform.h, which compile as C11 and C++20:
///
/// 1. **Status.** Every operation that can fail returns a `tavik_status`: TAVIK_OK on success. Nothing is thrown,
///    detected misuse does not end the process, and there is no "last error" state.
/// 2. **Ownership.** Handles that a function returns (`tavik_value** value`, `tavik_error** error`, always by address)
///    belong to the caller, who releases each once with the `_release` function of its type. Handles passed to a
///    function are borrowed for the duration of the call, and are not changed unless the function's name says so. The
///    only argument that a function takes over is the `user_data` of tavik_platform_new. Objects do not depend on the
///    handles that they were made from, which may be released first.
/// 3. **Release** functions take the address of a handle variable and set it to null. Releasing null does nothing, so
///    it is safe to release the same variable twice. Another variable that still refers to the released handle must not
///    be used; this misuse cannot always be detected.
/// 4. **Outputs.** A handle variable is set to null first and to the handle on success; its previous handle is not
///    released. Other outputs are written only on success. Functions document exceptions to this.
/// 5. **Null.** Pointers must not be null (TAVIK_NULL_ARGUMENT) unless the function says what null means; `error` may
///    always be null. A handle of another type, or one already released, gives TAVIK_BAD_HANDLE if it can be detected.
/// 6. **Text** is UTF-8; malformed text is rejected (TAVIK_NOT_UTF8). The length TAVIK_TO_NUL means "up to the first
///    NUL". Text or bytes of length 0 may be null. Returned text and bytes belong to the handle that they were read
///    from, and are valid until it is changed or released. Text from values is not NUL-terminated.
/// 7. **Copies.** A container read from another, or stored in one, is a cheap copy: changing it has no effect on the
///    other. Values may be nested to any depth.
/// 8. **Threads.** Handles may be used from any thread, and by several at once unless one of them changes or releases
///    the handle. Kernels, rules and platforms never change. There is no global state.
/// 9. **Failures** that need more explanation than their status set `error`: a message with a domain and a code.
///    TAVIK_ERROR has the kernel's own error. TAVIK_NO_MEMORY sets no error.
/// 10. **Versions.** Within a major version of the library, functions, statuses and kinds are added but never changed;
///     each addition increases TAVIK_INTERFACE_VERSION. The only struct contains its size.
///
/// For foreign-function interfaces: all types are pointers, `size_t`, 32-bit and 64-bit integers and doubles. Structs
/// are not passed by value, enumerations are `int32_t`, and no function is a macro.
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
/// Verifies rule documents and receives the log.
typedef struct tavik_platform tavik_platform;
/// A check kernel with its rule library.
typedef struct tavik_kernel tavik_kernel;
/// Local rules prepared for checking many devices.
typedef struct tavik_rules tavik_rules;
/// The result of a check run.
typedef struct tavik_outcome tavik_outcome;
/// Why an operation failed.
typedef struct tavik_error tavik_error;
/// A platform's answer about one document.
typedef struct tavik_verdict tavik_verdict;

/// @name Versions
/// @{
#define TAVIK_INTERFACE_VERSION 2

/// The TAVIK_INTERFACE_VERSION of the loaded library. If it is lower than the one that the host was compiled with, the
/// library lacks functions.
TAVIK_EXPORT int32_t tavik_interface_version(void);
/// The library's version, 3.19.
TAVIK_EXPORT double tavik_version(void);
/// @}

/// @name Statuses and errors
/// @{
typedef int32_t tavik_status;
enum {
  TAVIK_OK = 0,
  TAVIK_ERROR = 1,                   ///< a problem with the rule documents: the kernel's error, with a code of Error.h
  TAVIK_FAULT_OUT_OF_RANGE = 2,      ///< a fault: a value is too short or out of range for its rule
  TAVIK_FAULT_INVALID_ARGUMENT = 3,  ///< a fault: a rule or document lacks a required value
  TAVIK_REFUSED = 4,                 ///< a file, bytes, rule library or value is malformed or not trusted
  TAVIK_NO_MEMORY = 5,
  TAVIK_NOT_FOUND = 6,            ///< a dictionary has no such key
  TAVIK_NULL_ARGUMENT = 7,        ///< a pointer must not be null
  TAVIK_BAD_HANDLE = 8,           ///< a handle has another type, or is already released
  TAVIK_WRONG_KIND = 9,           ///< a value has another kind than the function needs
  TAVIK_INDEX_OUT_OF_RANGE = 10,  ///< an index is past the end of an array
  TAVIK_NOT_UTF8 = 11,            ///< text is malformed
  TAVIK_BAD_ARGUMENT = 12,        ///< a number is not one of those allowed
  TAVIK_INTERNAL = 13,            ///< any other failure
};

/// A short description of a status. Never null; valid as long as the library is loaded.
TAVIK_EXPORT const char* tavik_status_text(tavik_status status);

/// The message, NUL-terminated and valid as long as the error. Empty for null.
TAVIK_EXPORT const char* tavik_error_text(const tavik_error* error);
/// "ZRT Tavik Error Domain" for TAVIK_ERROR, "Tavik C Interface" for any other status. Otherwise like tavik_error_text.
TAVIK_EXPORT const char* tavik_error_domain(const tavik_error* error);
/// The code in that domain: -100003 to -100008 for TAVIK_ERROR, otherwise the status. 0 for null.
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

/// A length argument: the text ends at its first NUL.
#define TAVIK_TO_NUL SIZE_MAX

/// Seconds from 1970-01-01 00:00:00 UTC, the origin of time_t, to 2001-01-01 00:00:00 UTC, the origin of dates.
#define TAVIK_EPOCH_TO_DATES 978307200.0

/// Make a value.
TAVIK_EXPORT tavik_status tavik_value_new_string(const char* text, size_t length, tavik_value** value);
TAVIK_EXPORT tavik_status tavik_value_new_integer(int64_t number, tavik_value** value);
TAVIK_EXPORT tavik_status tavik_value_new_real(double number, tavik_value** value);
/// truth: 0 is false, anything else true.
TAVIK_EXPORT tavik_status tavik_value_new_boolean(int32_t truth, tavik_value** value);
TAVIK_EXPORT tavik_status tavik_value_new_data(const void* bytes, size_t length, tavik_value** value);
/// seconds: since 2001-01-01 00:00:00 UTC; see TAVIK_EPOCH_TO_DATES.
TAVIK_EXPORT tavik_status tavik_value_new_date(double seconds, tavik_value** value);
TAVIK_EXPORT tavik_status tavik_value_new_array(tavik_value** value);
TAVIK_EXPORT tavik_status tavik_value_new_dictionary(tavik_value** value);
/// Makes a copy, which is changed independently of the original.
TAVIK_EXPORT tavik_status tavik_value_copy(const tavik_value* value, tavik_value** copy);
TAVIK_EXPORT tavik_status tavik_value_release(tavik_value** value);

/// Read a value of exactly that kind: an integer read as a real gives TAVIK_WRONG_KIND too.
TAVIK_EXPORT tavik_status tavik_value_get_kind(const tavik_value* value, tavik_kind* kind);
/// `*text` belongs to the value.
TAVIK_EXPORT tavik_status tavik_value_get_string(const tavik_value* value, const char** text, size_t* length);
TAVIK_EXPORT tavik_status tavik_value_get_integer(const tavik_value* value, int64_t* number);
TAVIK_EXPORT tavik_status tavik_value_get_real(const tavik_value* value, double* number);
/// `*truth` is 0 or 1.
TAVIK_EXPORT tavik_status tavik_value_get_boolean(const tavik_value* value, int32_t* truth);
/// `*bytes` belong to the value; null if it is empty.
TAVIK_EXPORT tavik_status tavik_value_get_data(const tavik_value* value, const uint8_t** bytes, size_t* length);
TAVIK_EXPORT tavik_status tavik_value_get_date(const tavik_value* value, double* seconds);
/// The number of elements in an array, or of entries in a dictionary.
TAVIK_EXPORT tavik_status tavik_value_get_count(const tavik_value* value, size_t* count);

/// Compares like `==` in Value.h. `*equal` is 1 or 0.
TAVIK_EXPORT tavik_status tavik_value_equal(const tavik_value* left, const tavik_value* right, int32_t* equal);
/// The text that "%@" prints (`description` in Value.h), as a string. value: null prints "(null)".
TAVIK_EXPORT tavik_status tavik_value_describe(const tavik_value* value, tavik_value** text);
/// The text on one line, safe to show on a terminal (`visibleText` in VisibleText.h), as a string. Texts about a
/// device, such as `tavik_outcome_description`, can contain the device's own control characters.
TAVIK_EXPORT tavik_status tavik_visible_text(const char* text, size_t length, tavik_value** visible);

/// The element at `index`, counted from 0.
TAVIK_EXPORT tavik_status tavik_array_get(const tavik_value* array, size_t index, tavik_value** element);
TAVIK_EXPORT tavik_status tavik_array_set(tavik_value* array, size_t index, const tavik_value* element);
TAVIK_EXPORT tavik_status tavik_array_append(tavik_value* array, const tavik_value* element);

/// The keys as an array of strings, in the order of the entries.
TAVIK_EXPORT tavik_status tavik_dictionary_keys(const tavik_value* dictionary, tavik_value** keys);
/// The value stored under a key; TAVIK_NOT_FOUND if there is none.
TAVIK_EXPORT tavik_status tavik_dictionary_get(const tavik_value* dictionary, const char* key, size_t key_length,
                                               tavik_value** value);
/// Replaces the value of a key, or appends a new entry.
TAVIK_EXPORT tavik_status tavik_dictionary_set(tavik_value* dictionary, const char* key, size_t key_length,
                                               const tavik_value* value);
/// Removes the entry for a key; TAVIK_NOT_FOUND if there is none.
TAVIK_EXPORT tavik_status tavik_dictionary_erase(tavik_value* dictionary, const char* key, size_t key_length);

/// Shorthands for NUL-terminated keys: make a value and store it like tavik_dictionary_set.
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
/// See PropertyList.h. Failures are TAVIK_REFUSED, with an error that says where and why.
/// @{
enum {
  TAVIK_FORMAT_XML = 1,
  TAVIK_FORMAT_BINARY = 2,
};

/// Reads a property list in XML, binary or old-style text.
TAVIK_EXPORT tavik_status tavik_property_list_read(const void* bytes, size_t length, tavik_value** value,
                                                   tavik_error** error);
/// The same for a file.
TAVIK_EXPORT tavik_status tavik_property_list_read_file(const char* path, tavik_value** value, tavik_error** error);
/// Writes a property list, as data. format: TAVIK_FORMAT_XML or TAVIK_FORMAT_BINARY.
TAVIK_EXPORT tavik_status tavik_property_list_write(const tavik_value* value, int32_t format, tavik_value** data,
                                                    tavik_error** error);
/// @}

/// @name JSON
/// See Json.h. Failures are TAVIK_REFUSED, with an error that says where and why.
/// @{
enum {
  TAVIK_JSON_ONE_LINE = 1,
  TAVIK_JSON_INDENTED = 2,
};

/// Reads a JSON text. Text that is not UTF-8 is TAVIK_REFUSED too, with its location.
TAVIK_EXPORT tavik_status tavik_json_read(const char* text, size_t length, tavik_value** value, tavik_error** error);
/// Writes a value; the text is a string. layout: TAVIK_JSON_ONE_LINE or TAVIK_JSON_INDENTED.
TAVIK_EXPORT tavik_status tavik_json_write(const tavik_value* value, int32_t layout, tavik_value** text,
                                           tavik_error** error);
/// @}

/// @name Platforms
/// Platforms with the host's own trust store or log. tavik_platform.h has the platform for test stations.
/// @{

/// Answers `validate`: the document is trusted, and `document` is its signed content, which is copied.
/// TAVIK_BAD_ARGUMENT if the document was already rejected.
TAVIK_EXPORT tavik_status tavik_verdict_trust(tavik_verdict* verdict, const tavik_value* document);
/// Answers `validate`: the document is rejected. If this call itself fails, the document counts as rejected. Malformed
/// UTF-8 in the reason is replaced by U+FFFD.
TAVIK_EXPORT tavik_status tavik_verdict_refuse(tavik_verdict* verdict, const char* reason, size_t length);

/// The services that a host provides to a kernel.
///
/// A kernel calls the callbacks on the threads of its callers, several at once. A callback must return normally: it
/// must not throw, call longjmp, or end or cancel its thread. It may call any function in this header, but must not
/// release handles that are in use. Its arguments are borrowed until it returns.
///
/// Set all members to zero, set `struct_size`, and then the others. Later versions add members at the end.
typedef struct tavik_platform_callbacks {
  /// sizeof(tavik_platform_callbacks).
  size_t struct_size;
  /// Passed to each callback.
  void* user_data;
  /// Verifies a signed rule document and answers with tavik_verdict_trust or tavik_verdict_refuse. Without an answer
  /// the document is rejected. public_key_path: always "/usr/local/share/misc/TavikKernel-pub.pem"; the platform may
  /// use another key.
  void (*validate)(void* user_data, const tavik_value* document, const char* public_key_path, tavik_verdict* verdict);
  /// Receives one log line, without a line end and not NUL-terminated. Null disables the log.
  void (*log)(void* user_data, const char* line, size_t length);
  /// Called once, when the last handle, kernel or rules that use the platform are released. May be null.
  void (*release)(void* user_data);
} tavik_platform_callbacks;

/// Makes a platform from callbacks, which are copied. The platform takes over `user_data` and calls `release` for it.
/// On failure `user_data` remains the caller's.
///
/// TAVIK_BAD_ARGUMENT if struct_size is smaller than the first version of the struct, or if members that this library
/// does not know are not zero.
TAVIK_EXPORT tavik_status tavik_platform_new(const tavik_platform_callbacks* callbacks, tavik_platform** platform);
TAVIK_EXPORT tavik_status tavik_platform_release(tavik_platform** platform);
/// @}

/// @name Kernels and checks
/// See ZRTTavikKernel.h. Documents, devices, sources and station dictionaries must be dictionaries (TAVIK_WRONG_KIND).
/// @{

/// Makes a kernel from a file with a signed rule library. TAVIK_REFUSED, with an error that says why, if the file
/// cannot be read, is not trusted or has no rules.
TAVIK_EXPORT tavik_status tavik_kernel_new(const char* library_path, const tavik_platform* platform,
                                           tavik_kernel** kernel, tavik_error** error);
/// The same for a signed rule library in memory: a dictionary, or the bytes of a property list.
TAVIK_EXPORT tavik_status tavik_kernel_new_from_document(const tavik_value* library, const tavik_platform* platform,
                                                         tavik_kernel** kernel, tavik_error** error);
TAVIK_EXPORT tavik_status tavik_kernel_new_from_bytes(const void* bytes, size_t length, const tavik_platform* platform,
                                                      tavik_kernel** kernel, tavik_error** error);
TAVIK_EXPORT tavik_status tavik_kernel_release(tavik_kernel** kernel);

/// Checks one device.
///
/// - device: attribute name -> value.
/// - local_rules: the signed local rules; if null, the outcome says that there are none.
/// - sources: source name -> dictionary of attribute name -> value; null if there are none.
/// - station: the initial station dictionary; null for an empty one. It is not changed; the outcome contains it as the
///   run leaves it.
///
/// TAVIK_OK for every verdict, even if a fault ended the run.
TAVIK_EXPORT tavik_status tavik_kernel_run(const tavik_kernel* kernel, const tavik_value* device,
                                           const tavik_value* local_rules, const tavik_value* sources,
                                           const tavik_value* station, tavik_outcome** outcome, tavik_error** error);

/// Prepares local rules for checking many devices. The kernel may be released before the rules. local_rules: if they
/// are null or rejected, each check and tavik_rules_rejection report it.
TAVIK_EXPORT tavik_status tavik_kernel_prepare(const tavik_kernel* kernel, const tavik_value* local_rules,
                                               tavik_rules** rules, tavik_error** error);
/// Why the local rules are rejected; then no run has a verdict. NUL-terminated; valid as long as the rules. Null if
/// they are accepted, or if `rules` is not a handle of this type.
TAVIK_EXPORT const char* tavik_rules_rejection(const tavik_rules* rules);
/// tavik_kernel_run with these rules.
TAVIK_EXPORT tavik_status tavik_rules_run(const tavik_rules* rules, const tavik_value* device,
                                          const tavik_value* sources, const tavik_value* station,
                                          tavik_outcome** outcome, tavik_error** error);
TAVIK_EXPORT tavik_status tavik_rules_release(tavik_rules** rules);

/// Checks one device and returns the plain records, errors and faults. A device that was not checked has records too;
/// use tavik_kernel_run to learn the verdict.
///
/// - station: the station dictionary, or null. It is changed, even if the check ends in an error or a fault.
/// - records: an array of dictionaries. Also set with TAVIK_ERROR unless a predicate expression is malformed; null
///   after any other failure.
///
/// Other arguments: as for tavik_kernel_run.
TAVIK_EXPORT tavik_status tavik_kernel_check(const tavik_kernel* kernel, const tavik_value* device,
                                             const tavik_value* local_rules, const tavik_value* sources,
                                             tavik_value* station, tavik_value** records, tavik_error** error);
/// tavik_kernel_check with prepared rules.
TAVIK_EXPORT tavik_status tavik_rules_check(const tavik_rules* rules, const tavik_value* device,
                                            const tavik_value* sources, tavik_value* station, tavik_value** records,
                                            tavik_error** error);

/// What a station must collect for a device before a check, as a dictionary. TAVIK_ERROR if the local rules are not
/// trusted or cannot be assembled.
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
/// See CheckOutcome.h. Texts are NUL-terminated and valid as long as the outcome.
/// @{
enum {
  TAVIK_PASSED = 1,      ///< the device was checked, and every rule passed
  TAVIK_FAILED = 2,      ///< the device was checked, and at least one rule failed
  TAVIK_NO_VERDICT = 3,  ///< the device was not checked; it counts as not passed
};

/// One of these three; TAVIK_NO_VERDICT also for null and for a handle that is not an outcome.
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
/// The kernel's own error; null if there is none.
TAVIK_EXPORT tavik_status tavik_outcome_error(const tavik_outcome* outcome, tavik_error** error);
/// All records, as an array of dictionaries. TAVIK_NOT_FOUND if an error or a fault left none.
TAVIK_EXPORT tavik_status tavik_outcome_records(const tavik_outcome* outcome, tavik_value** records);
/// The records of rules, without the version records; an empty array without a verdict.
TAVIK_EXPORT tavik_status tavik_outcome_rule_records(const tavik_outcome* outcome, tavik_value** records);
/// The station dictionary after the run.
TAVIK_EXPORT tavik_status tavik_outcome_station(const tavik_outcome* outcome, tavik_value** station);
/// Where the rule documents came from: a dictionary with "kernel" (its version), "signatures" ("verified" or "not
/// verified"), "library" and "rules". These two are dictionaries with "version", "sha256", "keys" (names), "product",
/// "revision", "expires" and "warning", as far as they are known (Provenance.h).
TAVIK_EXPORT tavik_status tavik_outcome_provenance(const tavik_outcome* outcome, tavik_value** provenance);
TAVIK_EXPORT tavik_status tavik_outcome_release(tavik_outcome** outcome);
/// @}

/// @name Predicates and descriptions
/// These functions need no kernel.
/// @{

/// Evaluates a predicate expression such as "hasPrefix AND isUppercase" (AbstractTree.h).
///
/// attribute: the device's value, or null. references: attribute name -> reference value; null calls the predicates in
/// their form without references. value: the expected value, or null. platform: receives the log; may be null.
TAVIK_EXPORT tavik_status tavik_evaluate(const char* expression, const tavik_value* attribute,
                                         const tavik_value* references, const tavik_value* value,
                                         const tavik_platform* platform, tavik_value** record, tavik_error** error);

/// "actual" and "expected" of a predicate without its result. attribute, expected: null if absent.
TAVIK_EXPORT tavik_status tavik_value_in_list_description(const tavik_value* attribute, const tavik_value* expected,
                                                          tavik_value** record, tavik_error** error);
/// device: a dictionary with "SerialNumber" and "TotalDiskCapacity".
TAVIK_EXPORT tavik_status tavik_nand_size_check_description(const tavik_value* device, const tavik_value* expected,
                                                            tavik_value** record, tavik_error** error);
TAVIK_EXPORT tavik_status tavik_nvram_white_list_description(const tavik_value* attribute, const tavik_value* expected,
                                                             tavik_value** record, tavik_error** error);
/// @}

/// @name Decoders
/// These functions decode bytes from a device, which are not trusted. See SystemConfig.h, ManifestParser.h and, for DER
/// itself, DERDecoder.h.
/// @{

/// Decodes a SysCfg blob into a dictionary of tag -> value.
TAVIK_EXPORT tavik_status tavik_decode_syscfg(const void* bytes, size_t length, tavik_value** fields);
/// Decodes a control-bit block into an array of dictionaries.
TAVIK_EXPORT tavik_status tavik_decode_control_bits(const void* bytes, size_t length, tavik_value** records);
/// Decode a manifest into a dictionary of item name -> value. TAVIK_REFUSED if the bytes are not such a manifest.
TAVIK_EXPORT tavik_status tavik_decode_root_manifest(const void* bytes, size_t length, tavik_value** items);
TAVIK_EXPORT tavik_status tavik_decode_provisioning_manifest(const void* bytes, size_t length, tavik_value** items);
/// @}

#ifdef __cplusplus
}
#endif

#endif
