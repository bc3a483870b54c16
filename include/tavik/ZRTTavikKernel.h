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
/// **Documents.** The kernel's rule library defines every rule once: rule name -> dictionary of "attribute",
/// "predicate", "value", "references", "hideResult", "domain", "poll"; and "version". The local rules of a product say
/// which rules a device gets: by part number and region ("MPNRules"), for all devices ("GenericRules"), and by named
/// groups ("RuleSets"); an entry's "value" replaces the definition's. Both are signed. docs/rule-documents.md describes
/// them for rule authors.
///
/// **Records.** A check yields one dictionary a rule: "rule" (string), "result" (boolean), "actual" and "expected" (any
/// value, mostly strings), and where set "hideResult" (the empty string) and "attributes" (dictionary for the station).
///
/// A kernel is immutable once made: every operation is safe from any thread and leaves it as it was. Operations raise a
/// fault only where they say so.
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
  /// The key that signatures are checked with, unless the platform uses another.
  static constexpr const char* kPublicKeyPath = "/usr/local/share/misc/TavikKernel-pub.pem";

  /// @name The kernel
  /// @{

  /// Reads a signed rule library (property list, any encoding) and has its signature checked.
  ///
  /// Returns null if the file cannot be read or is not a dictionary, if the signature does not hold (both are logged),
  /// or if the library has no entries (not logged). Raises `std::invalid_argument` if `platform` is null.
  static std::unique_ptr<ZRTTavikKernel> init(const std::string& path, std::shared_ptr<const Platform> platform);

  /// The same, with the reason in `why` if there is no kernel: `kUnreadable`, `kNotTrusted` or `kEmpty`. `why` is
  /// written on failure only.
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

  /// Checks one device.
  ///
  /// deviceAttributes: attribute name -> value, as read from the device; packed attributes ("SysCfgData",
  /// "BasebandFirmwareManifestData") are expanded into attributes of their own for the length of the run.
  /// rules: the signed local rules; null is reported as a failing record.
  /// sourcesForReferenceValues: source name -> dictionary of attribute name -> value, for rules with references; may be
  /// null. attributesForSfc: the station dictionary; null when the host has none. The last rule that forwards
  /// attributes leaves its "OnPass" and "OnFail" there; one that it lacks is removed. One dictionary belongs to one run
  /// at a time. error: cleared before the rules are assembled, set when that fails or a predicate expression is
  /// malformed, else as it was.
  ///
  /// A host that checks many devices prepares its rules: `prepare`.
  ///
  /// Returns the records in order: either one record that says why no check was made, or three version records followed
  /// by one record per rule. Absent if a rule's predicate expression is malformed: then there is `error`. The records
  /// of one run share memory blocks of up to 16 KiB; keeping one record keeps its block alive. `run` tells whether a
  /// rule was checked at all.
  ///
  /// Raises `std::invalid_argument` when a document has no "version"; `std::out_of_range` when a rule without "value"
  /// is to take it from an empty list of references; and whatever the rules' predicates raise.
  [[nodiscard]] std::optional<Array> check(const Dictionary& deviceAttributes, const Dictionary* rules,
                                           const Dictionary* sourcesForReferenceValues, Dictionary* attributesForSfc,
                                           std::optional<Error>& error) const;
  /// The same for a host without a station dictionary.
  [[nodiscard]] std::optional<Array> check(const Dictionary& deviceAttributes, const Dictionary* rules,
                                           const Dictionary* sourcesForReferenceValues,
                                           std::optional<Error>& error) const;

  /// Checks one device as `check` does, and says what it came to: whether the device was checked, and whether it
  /// passed.
  ///
  /// Arguments: as for `check`. station: the station dictionary that the run begins with; the outcome has it as the run
  /// leaves it. Faults are part of the outcome; no fault is raised.
  [[nodiscard]] CheckOutcome run(const Dictionary& deviceAttributes, const Dictionary* rules,
                                 const Dictionary* sourcesForReferenceValues = nullptr, Dictionary station = {}) const;

  /// Prepares local rules for the check of many devices. rules: the signed local rules; if they are rejected, or null,
  /// each check reports that, and `PreparedRules::rejection` says why. Never null; does not need the kernel any longer.
  [[nodiscard]] std::unique_ptr<const PreparedRules> prepare(const Dictionary* rules) const;
  /// @}

  /// @name Source-specific check lists
  /// What a station has to gather for one device before a check.
  ///
  /// localRules: the signed local rules. deviceAttributes: as read from the device, of which "ModelNumber" and
  /// "RegionInfo" are read. What is listed comes from the library's definitions of the device's rules, in their order;
  /// a "value" of the local rules has no part in it. Each returns a dictionary, empty when no rule matches; absent with
  /// `error` set when the local rules are not trusted (code -100008) or cannot be assembled (-100003, -100004). `error`
  /// is cleared first.
  /// @{

  /// Attribute name -> description, for references with the source "sfc" in any case: what to ask the shop-floor
  /// system. A reference without "description" is described by its name.
  [[nodiscard]] std::optional<Dictionary> sfcCheckList(const Dictionary& localRules, const Dictionary& deviceAttributes,
                                                       std::optional<Error>& error) const;
  /// The same for the source "gui": what to ask the operator.
  [[nodiscard]] std::optional<Dictionary> guiCheckList(const Dictionary& localRules, const Dictionary& deviceAttributes,
                                                       std::optional<Error>& error) const;
  /// Rule name -> the rule's definition, for rules about the SIM card's identity ("IntegratedCircuitCardIdentity").
  [[nodiscard]] std::optional<Dictionary> simCheckList(const Dictionary& localRules, const Dictionary& deviceAttributes,
                                                       std::optional<Error>& error) const;
  /// "0", "1", "2", ... -> the "domain" of each rule that has one.
  [[nodiscard]] std::optional<Dictionary> getDomainList(const Dictionary& localRules,
                                                        const Dictionary& deviceAttributes,
                                                        std::optional<Error>& error) const;
  /// The same with "poll".
  [[nodiscard]] std::optional<Dictionary> getPollingList(const Dictionary& localRules,
                                                         const Dictionary& deviceAttributes,
                                                         std::optional<Error>& error) const;
  /// @}

  /// @name TavikAlgorithms
  /// Result making, and the predicates that rules name. A predicate takes the device's value and the expected value and
  /// returns a new record of "result", "actual" and "expected". A value of a kind that it does not expect gives a
  /// failing record whose texts are made from descriptions. An absent expected value (null) prints as "(null)". A
  /// predicate makes no error, logs nothing and changes nothing.
  /// @{

  /// A record. Raises `std::invalid_argument` when `actual` or `expected` is null.
  static Dictionary buildResult(bool result, const Value* actual, const Value* expected);

  /// Passes when `attributes` has no entry `attributeName` (null: no name, nothing to find).
  static Dictionary checkNotExist(const Dictionary& attributes, const Value* attributeName);

  /// Passes when the attribute ends with the expected text: exact characters, no folding, no trimming.
  ///
  ///     hasSuffix("ABC123", "123")  -> true,  actual "ABC123", expected "has suffix 123"
  ///     hasSuffix("ABC123", "")     -> false: empty text ends nothing
  ///
  /// attribute: string; value: string, absent fails.
  static Dictionary hasSuffix(const Value* attribute, const Value* value);

  /// Passes when the attribute begins with the expected text, compared as in `hasSuffix`. "expected": "has prefix %@".
  /// attribute: string; value: string, absent fails.
  static Dictionary hasPrefix(const Value* attribute, const Value* value);

  /// The roles reversed: passes when the expected text begins with the attribute.
  ///
  ///     referenceHasPrefix("AB", "ABCD")  -> true, actual "ABCD", expected "has prefix AB"
  ///
  /// attribute: string; value: string, absent fails with "actual" "(null)".
  static Dictionary referenceHasPrefix(const Value* attribute, const Value* value);

  /// Passes when the two texts are equal after simple case folding. "expected": "caseInsensitiveEqual:%@".
  /// attribute: string; value: string, **absent passes**.
  static Dictionary caseInsensitiveEqual(const Value* attribute, const Value* value);

  /// Compares data with a text of its hexadecimal digits, ignoring case: the bytes DE AD equal "DEAD". "actual" is the
  /// hexadecimal text. attribute: data; value: string, **absent passes**.
  static Dictionary caseInsensitiveEqualData(const Value* attribute, const Value* value);

  /// Passes when every element of the attribute equals some element of the list; an attribute that is no array counts
  /// as an array of itself, an empty one passes.
  ///
  ///     valueInList("B", ("A", "B"))  -> true, actual "B", expected "one of A,B"
  ///
  /// attribute: any, absent fails; value: array, **absent passes**.
  static Dictionary valueInList(const Value* attribute, const Value* value);

  /// Passes when the attribute's double value is strictly greater. "expected": "greater than %@".
  /// attribute, value: number, boolean or numeric string; an absent value is 0.
  static Dictionary greaterThan(const Value* attribute, const Value* value);

  /// Passes when the expected text occurs in the attribute; empty text occurs nowhere. "expected": "contains %@".
  /// attribute: string; value: string, absent fails.
  static Dictionary contains(const Value* attribute, const Value* value);

  /// Passes when the 32-bit integer values are equal: "0042" equals 42, "12abc" equals 12. "expected": "equal %@".
  /// attribute, value: number, boolean or numeric string; an absent value is 0.
  static Dictionary equal(const Value* attribute, const Value* value);

  /// As `equal`, with 64 bits.
  static Dictionary equalLong(const Value* attribute, const Value* value);

  /// Compares the attribute's description with a text, ignoring case: "<0a0b0c0d 0e>" for data. "expected": "equal %@".
  /// attribute: any; value: string, absent fails.
  static Dictionary equalData(const Value* attribute, const Value* value);

  /// Passes when the attribute's bytes AND "Mask" equal "Result". A mask of another length gives "actual" "Unknown".
  ///
  ///     equalMask(<0ff0>, {Mask = <ff00>; Result = <0f00>;})  -> true, expected "and mask <ff00> equal <0f00>"
  ///
  /// attribute: data; value: dictionary with "Mask" and "Result" (data), absent fails.
  static Dictionary equalMask(const Value* attribute, const Value* value);

  /// Passes when some byte of the attribute is not zero; empty data has none. attribute: data; value: not used.
  static Dictionary dataNotNull(const Value* attribute, const Value* value);

  /// Passes when the attribute equals the expected value's boolean value. "expected": "is %@".
  /// attribute: boolean; value: boolean, number or string; an absent value is false.
  static Dictionary boolEqual(const Value* attribute, const Value* value);

  /// Passes when the attribute equals its own upper-case form (simple mapping), which is "expected".
  /// attribute: string; value: not used.
  static Dictionary isUppercase(const Value* attribute, const Value* value);

  /// Cut the CCC code (the last three characters) or the 4C code (the last four) out of a serial number and compare it
  /// as `caseInsensitiveEqual` does; the code is "actual".
  ///
  ///     MPN4CCheck("C8PK1234ABCD", "abcd")  -> true, actual "ABCD", expected "caseInsensitiveEqual:abcd"
  ///
  /// attribute: string, raises `std::out_of_range` when too short for the code; value: string, **absent passes**.
  static Dictionary MPNCCCCheck(const Value* attribute, const Value* value);
  static Dictionary MPN4CCheck(const Value* attribute, const Value* value);
  /// The same with the 4E code (four characters from index 11) of a logic-board serial number.
  static Dictionary MPN4ECheck(const Value* attribute, const Value* value);

  /// Pass when the 4C code, or the 4E code, equals some element ignoring case. "expected" is the list joined with ",".
  /// attribute: string, raises `std::out_of_range` when too short for the code; value: array of strings, absent fails.
  static Dictionary MPN4CListCheck(const Value* attribute, const Value* value);
  static Dictionary MPN4EListCheck(const Value* attribute, const Value* value);

  /// Holds the device's "ModelNumber" and "RegionInfo" against the shop floor's "mpn" and "region_code": passes when
  /// both pairs are equal, or when "mpn" is model and region joined and the region begins with "region_code". A call
  /// that lacks one of the four fails and is logged with its references. attribute, value: not used; references: the
  /// four strings.
  static Dictionary combinedMPNRCCheck(const Value* attribute, const Dictionary* references, const Value* value);

  /// Compares the attribute's description, ignoring case, with the behaviour of the device's region: the part of
  /// "RegionInfo" before the first "/". attribute: any; references: "RegionInfo" (string); value: dictionary of
  /// "nospecial", a dictionary with "countryList" (array of regions) and "behavior" for all of them, which comes first,
  /// and "special", a dictionary of region -> behaviour.
  static Dictionary swbhRegionMatch(const Value* attribute, const Dictionary* references, const Value* value);

  /// Passes when the capacity in whole gigabytes (`parseNandSize`) is the expected one, which is "expected" as it
  /// stands. attribute: bytes, a number or numeric string, anything else is 0; value: the same in gigabytes, absent
  /// fails.
  static Dictionary nandSizeCheck(const Value* attribute, const Value* value);
  /// The same with a capacity of at least the expected one. "expected": "no less than %@".
  static Dictionary minimumNandSize(const Value* attribute, const Value* value);
  /// The same with the size that a table of CCC code -> gigabytes gives for the device; a code that it lacks fails.
  /// references: "SerialNumber" (string), raises `std::out_of_range` when too short.
  static Dictionary cccNandSizeCheck(const Value* attribute, const Dictionary* references, const Value* value);

  /// Passes when the system partition, in mebibytes rounded down, has the expected size.
  /// attribute: bytes, a number or numeric string, anything else is 0; value: the same in mebibytes, absent fails.
  static Dictionary systemPartitionSizeCheck(const Value* attribute, const Value* value);
  /// The same with at most the expected size.
  static Dictionary varnockSystemPartitionSizeCheck(const Value* attribute, const Value* value);

  /// Passes when the IMEI begins with one of the prefixes; neither length nor check digit is looked at. "expected":
  /// "has prefix 35, or 01". attribute: string; value: array of strings, absent fails.
  static Dictionary validIMEI(const Value* attribute, const Value* value);

  /// Passes when the IMEI ends with the text that the operator typed, without the blanks around it. Up to four
  /// characters will do; five or more fail with their number. attribute: string; value: string, absent fails.
  static Dictionary checkIMEIfromGUI(const Value* attribute, const Value* value);

  /// Passes when the list for the device's "FCCID" holds the EEE code (three characters from index 9) of the logic
  /// board. attribute: string, raises `std::out_of_range` when too short; references: "FCCID" (string); value:
  /// dictionary of FCC identifier -> array of EEE codes.
  static Dictionary checkEEEFCCIDTable(const Value* attribute, const Dictionary* references, const Value* value);

  /// Passes when the list for the Wi-Fi module's vendor holds the EEE code of the logic board. The vendor is what
  /// stands behind the first "=" of the third of the module's fields, which single blanks separate. attribute: string,
  /// raises `std::out_of_range` when the third field has no "="; references: "MLBSerialNumber" (string), raises
  /// `std::out_of_range` when too short; value: dictionary of vendor -> array of codes.
  static Dictionary checkWifiVendorAgainstEEE(const Value* attribute, const Dictionary* references, const Value* value);
  /// The same with the 4E code.
  static Dictionary checkWifiVendorAgainst4E(const Value* attribute, const Dictionary* references, const Value* value);
  /// What these two share, for a board code of either kind; an absent (null) one fails. Rules do not name it.
  static Dictionary checkWifiVendorAgainstBoardConfig(const Value* attribute, const Dictionary* references,
                                                      const Value* value, const Value* eeeCode);

  /// Passes when the "Test State" of every listed control bit is "Pass". Texts list all bits: "CB 2 pass, CB 5 FAIL, ".
  /// attribute: data, a control-bit block; value: array of numbers or numeric strings, absent is empty. Raises
  /// `std::out_of_range` for a bit beyond the block's records.
  static Dictionary controlBitCheck(const Value* attribute, const Value* value);

  /// Passes when every key of the attribute is in the list. "actual" is the keys joined with ",".
  /// attribute: dictionary; value: array of strings, **absent passes**.
  static Dictionary nvramWhiteList(const Value* attribute, const Value* value);

  /// Passes when the one reference value equals the expected text ignoring case; with more references the rule is
  /// invalid. attribute: not used; references: exactly one string, raises `std::out_of_range` for none; value: string,
  /// raises `std::invalid_argument` when absent.
  static Dictionary staticTextGUIEquals(const Value* attribute, const Dictionary* references, const Value* value);

  /// Passes, and forwards the expected value to the station as "attributes". attribute: not used; value: dictionary of
  /// "OnPass" and "OnFail", raises `std::invalid_argument` when absent.
  static Dictionary sendStaticAttribute(const Value* attribute, const Value* value);

  /// Passes, and forwards "match" when the attribute is in "list" or there is no list, else "nonMatch".
  /// attribute: any; value: dictionary of "list" (array), "match" and "nonMatch" (dictionaries of "OnPass" and
  /// "OnFail"). Raises `std::invalid_argument` when the entry to forward is absent.
  static Dictionary sendConditionalAttribute(const Value* attribute, const Value* value);
  /// @}

  /// @name TavikDescription
  /// "actual" and "expected" of a predicate without its verdict, for hosts that show what is about to be compared.
  /// @{

  /// Of `valueInList`, with "among %@" for "one of %@". attribute: any; expected: array; absent ones give empty lists.
  static Dictionary valueInListDescription(const Value* attribute, const Value* expected);

  /// Of `cccNandSizeCheck`, from the device's "SerialNumber" and "TotalDiskCapacity". expected: dictionary of CCC code
  /// -> size. Raises `std::out_of_range` for a serial number that is too short.
  static Dictionary nandSizeCheckDescription(const Dictionary& attributes, const Value* expected);

  /// Of `nvramWhiteList`, in its long form. attribute: dictionary; expected: any.
  static Dictionary nvramWhiteListDescription(const Value* attribute, const Value* expected);
  /// @}

  /// @name TavikPrivateHelpers
  /// The steps of a check run, of use to hosts that look into one. (`handleError` is PredicateKernel's.)
  /// @{

  /// Whether a rule with this whole expression, references and no "value" takes its first reference value as the value:
  /// true for exactly the names of twelve predicates.
  static bool useReferenceForValue(std::string_view predicate);

  /// Fills `ruleResult` for an attribute that was not found: "actual" is "attribute %@ not found from %@!". A null name
  /// prints as "(null)".
  static void buildResultForGetAttributeError(const Value* attribute, std::string_view ruleName,
                                              std::string_view sourceName, Dictionary& ruleResult);

  /// The elements' descriptions with `delineator` between them; an absent (null) or empty array gives the empty string.
  static std::string arrayToString(const Array* array, std::string_view delineator);

  /// Identity codes: the last three (CCC) or four (4C) characters of a serial number, three from index 9 (EEE) or four
  /// from index 11 (4E) of a logic-board serial number. Absent when the number is absent (null) or no string; raise
  /// `std::out_of_range` when it is too short.
  static std::optional<Value> parseCCCCode(const Value* serialNumber);
  static std::optional<Value> parse4CCode(const Value* serialNumber);
  static std::optional<Value> parseEEECode(const Value* serialNumber);
  static std::optional<Value> parse4ECode(const Value* serialNumber);

  /// A capacity in bytes as whole gigabytes of 1,000,000,000: rounded to the nearest below 64, rounded down from there
  /// on, by design. Reads as `doubleValue` does and saturates.
  static std::int32_t parseNandSize(const Value* capacity);

  /// Adds the fields of the SysCfg blob under "SysCfgData" (data) as attributes named "SysCfgData.XXXX" after their
  /// tags. An attribute of such a name is replaced; the blob stays. Nothing is done, and nothing copied, without a
  /// blob.
  static void expandSysConfigData(Dictionary& attributes);

  /// Adds the items of the manifests under "BasebandFirmwareManifestData" (dictionary) as attributes named
  /// "ProvisioningManifestData.NAME" and "RootManifestData.NAME". A manifest that is absent or cannot be decoded adds
  /// nothing.
  static void expandBasebandManifestData(Dictionary& attributes);

  /// Stores every entry of `withDictionary` in `target` under `andPrefix`, a full stop and its key.
  static void renameKeys(Dictionary& target, const Dictionary& withDictionary, std::string_view andPrefix);

  /// The complete rules of one device: rule name -> the library's definition with the "value" of the local entry, where
  /// it has one.
  ///
  /// rules: the validated local rules. forDevice: the device's attributes, of which "ModelNumber" and "RegionInfo" are
  /// read. Absent with `error` set (code -100003 or -100004) when the part number, the region or a rule set is unknown,
  /// or an entry of the local rules is not a dictionary; `error` is written on failure only.
  [[nodiscard]] std::optional<Dictionary> makeDeviceRules(const Dictionary& rules, const Dictionary& forDevice,
                                                          std::optional<Error>& error) const;

  /// The local entries that the part number and region select. An unknown or absent (null) part number or region that
  /// the local rules ask for is an error.
  [[nodiscard]] std::optional<Dictionary> makeMPNRCRules(const Value* partNumber, const Value* RC,
                                                         const Dictionary& fromRules,
                                                         std::optional<Error>& error) const;

  /// Replaces every name in `deviceRules` that ends in "RuleSet" by the entries of that set, one level deep. False with
  /// `error` set when a set is unknown; `deviceRules` keeps the expansions done so far.
  [[nodiscard]] bool expandRuleSets(const Dictionary& rules, Dictionary& deviceRules,
                                    std::optional<Error>& error) const;

  /// What `sfcCheckList` and `guiCheckList` do, for any source.
  [[nodiscard]] std::optional<Dictionary> sourceSpecificCheckList(const Dictionary& localRules,
                                                                  std::string_view forSource,
                                                                  const Dictionary& deviceAttributes,
                                                                  std::optional<Error>& error) const;
  /// @}

 private:
  ZRTTavikKernel(std::shared_ptr<const Platform> platform, Dictionary rules);

  template <class Visit>
  bool visitDefinitions(const Dictionary& localRules, const Dictionary& deviceAttributes, std::optional<Error>& error,
                        Visit visit) const;
  [[nodiscard]] std::optional<Dictionary> entryList(const Dictionary& localRules, std::string_view key,
                                                    const Dictionary& deviceAttributes,
                                                    std::optional<Error>& error) const;

  Dictionary rules_;
};

}  // namespace tavik

#endif
