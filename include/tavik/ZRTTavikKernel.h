/// @file
/// The check kernel: decides whether a device is configured as its product's rules require.
///
///     auto platform = std::make_shared<StationPlatform>();                        // StationPlatform.h
///     Reason why;
///     auto kernel = ZRTTavikKernel::init("/path/to/rule-library.plist", platform, why);
///     if (!kernel) { /* why.text() */ }
///     const CheckOutcome outcome = kernel->run(device, &localRules, &sources);
///     if (outcome.verdict == Verdict::kPassed) { /* ... */ }
///
/// **Documents.** The rule library defines every rule once: rule name -> dictionary of "attribute", "predicate",
/// "value", "references", "hideResult", "domain" and "poll". It also has a "version". The local rules of a product
/// select the rules of a device: by part number and region ("MPNRules"), for all devices ("GenericRules"), and in named
/// groups ("RuleSets"). A "value" in the local rules replaces the definition's. Both documents are signed.
/// docs/rule-documents.md describes them for rule authors.
///
/// **Records.** A check returns one dictionary per rule: "rule" (string), "result" (boolean), "actual" and "expected"
/// (any value, mostly strings), and optionally "hideResult" (the empty string) and "attributes" (a dictionary for the
/// station).
///
/// A kernel is immutable and thread-safe. Operations raise faults only where documented.
#ifndef TAVIK_ZRT_TAVIK_KERNEL_H
#define TAVIK_ZRT_TAVIK_KERNEL_H

#include <tavik/CheckOutcome.h>
#include <tavik/Error.h>
#include <tavik/Platform.h>
#include <tavik/PredicateKernel.h>
#include <tavik/PreparedRules.h>
#include <tavik/Value.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tavik {

class TAVIK_EXPORT ZRTTavikKernel : public PredicateKernel {
 public:
  /// The key that verifies signatures, unless the platform uses another one.
  static constexpr const char* kPublicKeyPath = "/usr/local/share/misc/TavikKernel-pub.pem";

  /// @name The kernel
  /// @{

  /// Reads a signed rule library (a property list in any encoding) and has the platform verify its signature.
  ///
  /// Returns null if the file cannot be read or is not a dictionary, if the platform rejects it (both are logged), or
  /// if the library has no entries (not logged). Raises `std::invalid_argument` if `platform` is null.
  static std::unique_ptr<ZRTTavikKernel> init(const std::string& path, std::shared_ptr<const Platform> platform);

  /// The same, with the reason for a failure in `why`: `kUnreadable`, `kNotTrusted` or `kEmpty`. `why` is written on
  /// failure only.
  static std::unique_ptr<ZRTTavikKernel> init(const std::string& path, std::shared_ptr<const Platform> platform,
                                              Reason& why);
  /// The same for a signed rule library in memory: the bytes of a property list, or the dictionary that they hold.
  static std::unique_ptr<ZRTTavikKernel> init(std::span<const std::uint8_t> signedLibrary,
                                              std::shared_ptr<const Platform> platform, Reason& why);
  static std::unique_ptr<ZRTTavikKernel> init(const Dictionary& signedLibrary, std::shared_ptr<const Platform> platform,
                                              Reason& why);

  ~ZRTTavikKernel();

  /// The content of the rule library, as the platform validated it.
  [[nodiscard]] const Dictionary& library() const noexcept { return rules_; }

  /// Checks one device. Use `run` to learn the verdict, and `prepare` to check many devices.
  ///
  /// - deviceAttributes: attribute name -> value, as read from the device. Packed attributes ("SysCfgData",
  ///   "BasebandFirmwareManifestData") are expanded into separate attributes during the run.
  /// - rules: the signed local rules; null is reported as a failing record.
  /// - sourcesForReferenceValues: source name -> dictionary of attribute name -> value, for rules with references; may
  ///   be null.
  /// - attributesForSfc: the station dictionary, or null. Receives "OnPass" and "OnFail" of the last rule that forwards
  ///   attributes; an entry that this rule lacks is removed. Must not be used by two runs at once.
  /// - error: cleared before the rules are assembled, and set if that fails or a predicate expression is malformed.
  ///   Unchanged if the run ends earlier.
  ///
  /// Returns the records in order: either one record that says why no check was made, or three version records followed
  /// by one record per rule. Absent, with `error` set, if a predicate expression is malformed. The records of one run
  /// share memory blocks of up to 16 KiB; keeping one record keeps its block alive. A thread that releases records
  /// keeps up to 1 MiB of such blocks for its next runs, until it ends.
  ///
  /// Raises `std::invalid_argument` if a document has no "version", `std::out_of_range` if a rule without "value" would
  /// take it from an empty list of references, and what the rules' predicates raise.
  [[nodiscard]] std::optional<Array> check(const Dictionary& deviceAttributes, const Dictionary* rules,
                                           const Dictionary* sourcesForReferenceValues, Dictionary* attributesForSfc,
                                           std::optional<Error>& error) const;
  /// The same for a host without a station dictionary.
  [[nodiscard]] std::optional<Array> check(const Dictionary& deviceAttributes, const Dictionary* rules,
                                           const Dictionary* sourcesForReferenceValues,
                                           std::optional<Error>& error) const;

  /// Checks one device like `check`, and returns the outcome: whether the device was checked, and whether it passed.
  ///
  /// Arguments: as for `check`. station: the initial station dictionary; the outcome contains it as the run leaves it.
  /// Faults are reported in the outcome, not raised.
  [[nodiscard]] CheckOutcome run(const Dictionary& deviceAttributes, const Dictionary* rules,
                                 const Dictionary* sourcesForReferenceValues = nullptr, Dictionary station = {}) const;

  /// Prepares local rules for checking many devices. rules: the signed local rules. If they are null or rejected, each
  /// check reports that, and `PreparedRules::rejection` says why. Never returns null. The result may outlive the
  /// kernel.
  [[nodiscard]] std::unique_ptr<const PreparedRules> prepare(const Dictionary* rules) const;
  /// @}

  /// @name Source-specific check lists
  /// What a station must collect for a device before a check.
  ///
  /// localRules: the signed local rules. deviceAttributes: the device's attributes; only "ModelNumber" and "RegionInfo"
  /// are read. The lists are made from the library's definitions of the device's rules, in their order; a "value" in
  /// the local rules has no effect on them.
  ///
  /// Each operation returns a dictionary, which is empty if no rule matches. Absent with `error` set if the local rules
  /// are not trusted (code -100008) or cannot be assembled (-100003, -100004). `error` is cleared first.
  /// @{

  /// What to ask the shop-floor system: attribute name -> description, for references with the source "sfc" in any
  /// case. A reference without "description" is described by its name.
  [[nodiscard]] std::optional<Dictionary> sfcCheckList(const Dictionary& localRules, const Dictionary& deviceAttributes,
                                                       std::optional<Error>& error) const;
  /// The same for the source "gui": what to ask the operator.
  [[nodiscard]] std::optional<Dictionary> guiCheckList(const Dictionary& localRules, const Dictionary& deviceAttributes,
                                                       std::optional<Error>& error) const;
  /// Rule name -> the rule's definition, for rules about the SIM card's identity ("IntegratedCircuitCardIdentity").
  [[nodiscard]] std::optional<Dictionary> simCheckList(const Dictionary& localRules, const Dictionary& deviceAttributes,
                                                       std::optional<Error>& error) const;
  /// "0", "1", "2" and so on -> the "domain" of each rule that has one.
  [[nodiscard]] std::optional<Dictionary> getDomainList(const Dictionary& localRules,
                                                        const Dictionary& deviceAttributes,
                                                        std::optional<Error>& error) const;
  /// The same for "poll".
  [[nodiscard]] std::optional<Dictionary> getPollingList(const Dictionary& localRules,
                                                         const Dictionary& deviceAttributes,
                                                         std::optional<Error>& error) const;
  /// @}

  /// @name TavikAlgorithms
  /// The predicates that rules name. A predicate takes the device's value and the expected value, and returns a new
  /// record with "result", "actual" and "expected". A value of a kind not listed gives a failing record with texts made
  /// from `description`; an absent value (null) prints as "(null)". Predicates raise and log nothing unless stated
  /// otherwise.
  /// @{

  /// Makes a record. Raises `std::invalid_argument` if `actual` or `expected` is null.
  static Dictionary buildResult(bool result, const Value* actual, const Value* expected);

  /// Passes when `attributes` has no entry `attributeName`, or when the name is null.
  static Dictionary checkNotExist(const Dictionary& attributes, const Value* attributeName);

  /// Passes when the attribute ends with the expected text: exact characters, no folding, no trimming.
  ///
  ///     hasSuffix("ABC123", "123")  -> true,  actual "ABC123", expected "has suffix 123"
  ///     hasSuffix("ABC123", "")     -> false: an empty suffix never matches
  ///
  /// attribute: string; value: string, absent fails.
  static Dictionary hasSuffix(const Value* attribute, const Value* value);

  /// Passes when the attribute begins with the expected text, compared as in `hasSuffix`. "expected": "has prefix %@".
  /// attribute: string; value: string, absent fails.
  static Dictionary hasPrefix(const Value* attribute, const Value* value);

  /// The reverse of `hasPrefix`: passes when the expected text begins with the attribute.
  ///
  ///     referenceHasPrefix("AB", "ABCD")  -> true, actual "ABCD", expected "has prefix AB"
  ///
  /// attribute: string; value: string, absent fails with "actual" "(null)".
  static Dictionary referenceHasPrefix(const Value* attribute, const Value* value);

  /// Passes when the two texts are equal after simple case folding. "expected": "caseInsensitiveEqual:%@".
  /// attribute: string; value: string, **absent passes**.
  static Dictionary caseInsensitiveEqual(const Value* attribute, const Value* value);

  /// Compares data with hexadecimal text, ignoring case: the bytes DE AD equal "DEAD". "actual" is the hexadecimal
  /// text.
  /// attribute: data; value: string, **absent passes**.
  static Dictionary caseInsensitiveEqualData(const Value* attribute, const Value* value);

  /// Passes when every element of the attribute equals an element of the list. An attribute that is not an array counts
  /// as an array of one element; an empty array passes.
  ///
  ///     valueInList("B", ("A", "B"))  -> true, actual "B", expected "one of A,B"
  ///
  /// attribute: any, absent fails; value: array, **absent passes**.
  static Dictionary valueInList(const Value* attribute, const Value* value);

  /// Passes when the attribute's double value is strictly greater. "expected": "greater than %@".
  /// attribute, value: number, boolean or numeric string; an absent value is 0.
  static Dictionary greaterThan(const Value* attribute, const Value* value);

  /// Passes when the attribute contains the expected text; empty text never matches. "expected": "contains %@".
  /// attribute: string; value: string, absent fails.
  static Dictionary contains(const Value* attribute, const Value* value);

  /// Passes when the 32-bit integer values are equal: "0042" equals 42, "12abc" equals 12. "expected": "equal %@".
  /// attribute, value: number, boolean or numeric string; an absent value is 0.
  static Dictionary equal(const Value* attribute, const Value* value);

  /// The same as `equal` with 64-bit integers.
  static Dictionary equalLong(const Value* attribute, const Value* value);

  /// Compares the attribute's description ("<0a0b0c0d 0e>" for data) with text, ignoring case. "expected": "equal %@".
  /// attribute: any; value: string, absent fails.
  static Dictionary equalData(const Value* attribute, const Value* value);

  /// Passes when the bitwise AND of the attribute and "Mask" equals "Result". If the attribute and the mask differ in
  /// length, it fails with "actual" "Unknown".
  ///
  ///     equalMask(<0ff0>, {Mask = <ff00>; Result = <0f00>;})  -> true, expected "and mask <ff00> equal <0f00>"
  ///
  /// attribute: data; value: dictionary with "Mask" and "Result" (data), absent fails.
  static Dictionary equalMask(const Value* attribute, const Value* value);

  /// Passes when at least one byte of the attribute is not zero.
  /// attribute: data; value: not used.
  static Dictionary dataNotNull(const Value* attribute, const Value* value);

  /// Passes when the attribute equals the expected value's boolean value. "expected": "is %@".
  /// attribute: boolean; value: boolean, number or string; an absent value is false.
  static Dictionary boolEqual(const Value* attribute, const Value* value);

  /// Passes when the attribute equals its uppercase form (simple case mapping), which is "expected".
  /// attribute: string; value: not used.
  static Dictionary isUppercase(const Value* attribute, const Value* value);

  /// Compare the CCC code (the last three characters) or the 4C code (the last four) of a serial number like
  /// `caseInsensitiveEqual`. "actual" is the code.
  ///
  ///     MPN4CCheck("C8PK1234ABCD", "abcd")  -> true, actual "ABCD", expected "caseInsensitiveEqual:abcd"
  ///
  /// attribute: string, raises `std::out_of_range` if it is too short for the code; value: string, **absent passes**.
  static Dictionary MPNCCCCheck(const Value* attribute, const Value* value);
  static Dictionary MPN4CCheck(const Value* attribute, const Value* value);
  /// The same for the 4E code (four characters from index 11) of a logic-board serial number.
  static Dictionary MPN4ECheck(const Value* attribute, const Value* value);

  /// Pass when the 4C code, or the 4E code, equals an element of the list, ignoring case. "expected" is the list joined
  /// with ",".
  /// attribute: string, raises `std::out_of_range` if it is too short for the code; value: array of strings, absent
  /// fails.
  static Dictionary MPN4CListCheck(const Value* attribute, const Value* value);
  static Dictionary MPN4EListCheck(const Value* attribute, const Value* value);

  /// Compares the device's "ModelNumber" and "RegionInfo" with the shop floor's "mpn" and "region_code". Passes when
  /// both pairs are equal, or when "mpn" is the model number followed by the region and the region begins with
  /// "region_code". If one of the four is missing, it fails; this is logged with the references.
  /// attribute, value: not used; references: the four strings.
  static Dictionary combinedMPNRCCheck(const Value* attribute, const Dictionary* references, const Value* value);

  /// Compares the attribute's description, ignoring case, with the behavior for the device's region, which is the part
  /// of "RegionInfo" before the first "/".
  /// attribute: any; references: "RegionInfo" (string); value: dictionary of "nospecial", a dictionary with
  /// "countryList" (array of regions) and one "behavior" for all of them, and "special", a dictionary of region ->
  /// behavior. "nospecial" takes precedence.
  static Dictionary swbhRegionMatch(const Value* attribute, const Dictionary* references, const Value* value);

  /// Passes when the capacity in whole gigabytes (`parseNandSize`) equals the expected value, which is recorded
  /// unchanged as "expected".
  /// attribute: bytes, a number or numeric string, anything else is 0; value: gigabytes, a number or numeric string,
  /// absent fails.
  static Dictionary nandSizeCheck(const Value* attribute, const Value* value);
  /// The same for a capacity of at least the expected one. "expected": "no less than %@".
  static Dictionary minimumNandSize(const Value* attribute, const Value* value);
  /// The same with the expected size from a table of CCC code -> gigabytes; a code not in the table fails. references:
  /// "SerialNumber" (string), raises `std::out_of_range` if it is too short; value: the table.
  static Dictionary cccNandSizeCheck(const Value* attribute, const Dictionary* references, const Value* value);

  /// Passes when the system partition, in mebibytes rounded down, has the expected size.
  /// attribute: bytes, a number or numeric string, anything else is 0; value: mebibytes, a number or numeric string,
  /// absent fails.
  static Dictionary systemPartitionSizeCheck(const Value* attribute, const Value* value);
  /// The same for at most the expected size.
  static Dictionary varnockSystemPartitionSizeCheck(const Value* attribute, const Value* value);

  /// Passes when the IMEI begins with one of the prefixes; length and check digit are not checked. "expected": "has
  /// prefix 35, or 01".
  /// attribute: string; value: array of strings, absent fails.
  static Dictionary validIMEI(const Value* attribute, const Value* value);

  /// Passes when the IMEI ends with the text that the operator typed, without surrounding blanks. The text may have one
  /// to four characters; a longer one fails, and "actual" is its length.
  /// attribute: string; value: string, absent fails.
  static Dictionary checkIMEIfromGUI(const Value* attribute, const Value* value);

  /// Passes when the list for the device's "FCCID" contains the EEE code (three characters from index 9) of the logic
  /// board.
  /// attribute: string, raises `std::out_of_range` if it is too short; references: "FCCID" (string); value: dictionary
  /// of FCC identifier -> array of EEE codes.
  static Dictionary checkEEEFCCIDTable(const Value* attribute, const Dictionary* references, const Value* value);

  /// Passes when the list for the Wi-Fi module's vendor contains the EEE code of the logic board. The fields of the
  /// attribute are separated by single blanks; the vendor follows the first "=" in the third field.
  /// attribute: string, raises `std::out_of_range` if the third field has no "="; references: "MLBSerialNumber"
  /// (string), raises `std::out_of_range` if it is too short; value: dictionary of vendor -> array of codes.
  static Dictionary checkWifiVendorAgainstEEE(const Value* attribute, const Dictionary* references, const Value* value);
  /// The same for the 4E code.
  static Dictionary checkWifiVendorAgainst4E(const Value* attribute, const Dictionary* references, const Value* value);
  /// The common part of these two, for a board code of either kind; an absent (null) code fails. Not available to
  /// rules.
  static Dictionary checkWifiVendorAgainstBoardConfig(const Value* attribute, const Dictionary* references,
                                                      const Value* value, const Value* eeeCode);

  /// Passes when the "Test State" of every listed control bit is "Pass". Record texts list all bits: "CB 2 pass, CB 5
  /// FAIL, ".
  /// attribute: data, a control-bit block; value: array of numbers or numeric strings, absent is empty. Raises
  /// `std::out_of_range` for a bit that the block has no record for.
  static Dictionary controlBitCheck(const Value* attribute, const Value* value);

  /// Passes when every key of the attribute is in the list. "actual" has the keys joined with ",".
  /// attribute: dictionary; value: array of strings, **absent passes**.
  static Dictionary nvramWhiteList(const Value* attribute, const Value* value);

  /// Passes when the only reference value equals the expected text, ignoring case. A rule with more references is
  /// invalid.
  /// attribute: not used; references: exactly one string, raises `std::out_of_range` for none; value: string, raises
  /// `std::invalid_argument` if absent.
  static Dictionary staticTextGUIEquals(const Value* attribute, const Dictionary* references, const Value* value);

  /// Passes, and forwards the expected value to the station as "attributes".
  /// attribute: not used; value: dictionary of "OnPass" and "OnFail", raises `std::invalid_argument` if absent.
  static Dictionary sendStaticAttribute(const Value* attribute, const Value* value);

  /// Passes, and forwards "match" if the attribute is in "list" or there is no list, otherwise "nonMatch".
  /// attribute: any; value: dictionary of "list" (array), "match" and "nonMatch" (dictionaries of "OnPass" and
  /// "OnFail"). Raises `std::invalid_argument` if the entry to forward is absent.
  static Dictionary sendConditionalAttribute(const Value* attribute, const Value* value);
  /// @}

  /// @name TavikDescription
  /// "actual" and "expected" of a predicate without its result, for hosts that show what a rule is about to compare.
  /// @{

  /// For `valueInList`, with "among %@" instead of "one of %@".
  /// attribute: any; expected: array; absent arguments give empty lists.
  static Dictionary valueInListDescription(const Value* attribute, const Value* expected);

  /// For `cccNandSizeCheck`, from the device's "SerialNumber" and "TotalDiskCapacity".
  /// expected: dictionary of CCC code -> size. Raises `std::out_of_range` if the serial number is too short.
  static Dictionary nandSizeCheckDescription(const Dictionary& attributes, const Value* expected);

  /// For `nvramWhiteList`, in a longer form.
  /// attribute: dictionary; expected: any.
  static Dictionary nvramWhiteListDescription(const Value* attribute, const Value* expected);
  /// @}

  /// @name TavikPrivateHelpers
  /// The steps of a check run, for hosts that inspect one. (`handleError` is in PredicateKernel.h.)
  /// @{

  /// Whether a rule with this expression, with references and without "value", uses its first reference value as the
  /// expected value. True for the names of twelve predicates.
  static bool useReferenceForValue(std::string_view predicate);

  /// Fills `ruleResult` for an attribute that was not found: "actual" is "attribute %@ not found from %@!". A null name
  /// prints as "(null)".
  static void buildResultForGetAttributeError(const Value* attribute, std::string_view ruleName,
                                              std::string_view sourceName, Dictionary& ruleResult);

  /// The elements' descriptions, separated by `delineator`; the empty string for an absent (null) or empty array.
  static std::string arrayToString(const Array* array, std::string_view delineator);

  /// Identity codes: the last three (CCC) or four (4C) characters of a serial number; three characters from index 9
  /// (EEE) or four from index 11 (4E) of a logic-board serial number. Absent if the number is absent (null) or not a
  /// string. Raise `std::out_of_range` if it is too short.
  static std::optional<Value> parseCCCCode(const Value* serialNumber);
  static std::optional<Value> parse4CCode(const Value* serialNumber);
  static std::optional<Value> parseEEECode(const Value* serialNumber);
  static std::optional<Value> parse4ECode(const Value* serialNumber);

  /// Converts a capacity in bytes to gigabytes of 1,000,000,000 bytes: rounded to the nearest below 64, rounded down
  /// from 64 on, by design. The capacity is read by `doubleValue`; the result is limited to 32 bits.
  static std::int32_t parseNandSize(const Value* capacity);

  /// Adds the fields of the SysCfg blob under "SysCfgData" (data) as attributes named "SysCfgData.XXXX", where XXXX is
  /// the tag. Replaces existing attributes of that name; keeps the blob. Does nothing if there is no blob.
  static void expandSysConfigData(Dictionary& attributes);

  /// Adds the items of the manifests under "BasebandFirmwareManifestData" (dictionary) as attributes named
  /// "ProvisioningManifestData.NAME" and "RootManifestData.NAME". A manifest that is missing or cannot be decoded adds
  /// nothing.
  static void expandBasebandManifestData(Dictionary& attributes);

  /// Stores every entry of `withDictionary` in `target` under the key "PREFIX.KEY", where PREFIX is `andPrefix`.
  static void renameKeys(Dictionary& target, const Dictionary& withDictionary, std::string_view andPrefix);

  /// The complete rules of a device: rule name -> the library's definition, with the "value" of the local entry if it
  /// has one.
  ///
  /// rules: the validated local rules. forDevice: the device's attributes; only "ModelNumber" and "RegionInfo" are
  /// read. Absent with `error` set (code -100003 or -100004) if the part number, the region or a rule set is unknown,
  /// or if an entry of the local rules is not a dictionary. `error` is written on failure only.
  [[nodiscard]] std::optional<Dictionary> makeDeviceRules(const Dictionary& rules, const Dictionary& forDevice,
                                                          std::optional<Error>& error) const;

  /// The local entries for a part number and region. If the local rules depend on the part number or region, an unknown
  /// or absent (null) one is an error.
  [[nodiscard]] std::optional<Dictionary> makeMPNRCRules(const Value* partNumber, const Value* RC,
                                                         const Dictionary& fromRules,
                                                         std::optional<Error>& error) const;

  /// Replaces every name in `deviceRules` that ends in "RuleSet" with the entries of that set, one level deep. False
  /// with `error` set if a set is unknown; `deviceRules` keeps the expansions done so far.
  [[nodiscard]] bool expandRuleSets(const Dictionary& rules, Dictionary& deviceRules,
                                    std::optional<Error>& error) const;

  /// `sfcCheckList` and `guiCheckList` for any source.
  [[nodiscard]] std::optional<Dictionary> sourceSpecificCheckList(const Dictionary& localRules,
                                                                  std::string_view forSource,
                                                                  const Dictionary& deviceAttributes,
                                                                  std::optional<Error>& error) const;
  /// @}

 private:
  ZRTTavikKernel(std::shared_ptr<const Platform> platform, Dictionary rules,
                 std::shared_ptr<const DocumentProvenance> provenance);

  template <class Visit>
  bool visitDefinitions(const Dictionary& localRules, const Dictionary& deviceAttributes, std::optional<Error>& error,
                        Visit visit) const;
  [[nodiscard]] std::optional<Dictionary> entryList(const Dictionary& localRules, std::string_view key,
                                                    const Dictionary& deviceAttributes,
                                                    std::optional<Error>& error) const;

  Dictionary rules_;
  std::shared_ptr<const DocumentProvenance> provenance_;
};

}  // namespace tavik

#endif
