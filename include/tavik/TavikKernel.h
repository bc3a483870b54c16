/// @file
/// The whole of libTavikKernel. What holds everywhere:
///
/// - **Ownership.** Everything returned is new and belongs to the caller; arguments are borrowed for the length of
///   the call and never changed, except where an operation says so. Copies of values are cheap (Value.h).
/// - **Absent.** An argument that may be absent is a pointer that may be null; a result that may be absent is a
///   `std::optional` or a null `std::unique_ptr`. Absent is not a value and never stands in a container.
/// - **Text** is UTF-8, valid wherever the library hands it out. Characters are Unicode code points.
/// - **Failures are of three kinds that never mix.** What is wrong with a device is a failing record; what is wrong
///   with a rule document is an `Error` or a failing record about the document; what a host or rule author must not
///   do is a fault: an exception, `std::out_of_range` or `std::invalid_argument`, that ends the call. After a fault
///   everything stays usable. `std::bad_alloc` passes through. The functions of DERDecoder.h raise nothing; their
///   misuse ends the process with the broken condition's text.
/// - **Threads.** There is no global state. One kernel serves any number of threads at once; what a call is given
///   must not be changed by another thread meanwhile.
#ifndef TAVIK_KERNEL_H
#define TAVIK_KERNEL_H

#include <tavik/AbstractTree.h>
#include <tavik/CheckOutcome.h>
#include <tavik/DERDecoder.h>
#include <tavik/Error.h>
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
