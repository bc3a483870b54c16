/// @file
/// All of libTavikKernel. The following conventions apply to every header:
///
/// - **Ownership.** Results are new and belong to the caller. Arguments are borrowed for the duration of the call and
///   are not changed unless the operation says so. Copies of values are cheap (Value.h).
/// - **Absent.** An argument that may be absent is a pointer that may be null. A result that may be absent is a
///   `std::optional`, or a pointer that may be null. Absent is not a value: containers never hold it.
/// - **Text** is UTF-8, and always valid in results. Characters are Unicode code points.
/// - **Failures** are of three kinds. A problem with a device gives a failing record. A problem with a rule document
///   gives an `Error`, or a failing record about the document. Misuse by the host or by a rule is a fault: an
///   exception, `std::out_of_range` or `std::invalid_argument`, that ends the call and leaves all objects usable. Any
///   operation that allocates may raise `std::bad_alloc`. The functions in DERDecoder.h raise nothing; misuse of them
///   aborts the process.
/// - **Threads.** There is no global state. Immutable objects, such as kernels, may be used from any number of threads
///   at once. Arguments must not be changed by another thread during a call.
#ifndef TAVIK_KERNEL_H
#define TAVIK_KERNEL_H

#include <tavik/AbstractTree.h>
#include <tavik/CheckOutcome.h>
#include <tavik/DERDecoder.h>
#include <tavik/Error.h>
#include <tavik/Json.h>
#include <tavik/ManifestParser.h>
#include <tavik/Platform.h>
#include <tavik/PredicateExpression.h>
#include <tavik/PredicateFacts.h>
#include <tavik/PredicateKernel.h>
#include <tavik/PreparedRules.h>
#include <tavik/PropertyList.h>
#include <tavik/RuleEvaluation.h>
#include <tavik/RuleOrigins.h>
#include <tavik/SystemConfig.h>
#include <tavik/TavikKernelVersion.h>
#include <tavik/Value.h>
#include <tavik/VisibleText.h>
#include <tavik/ZRTTavikKernel.h>

#endif
