/// @file
/// The output of `tavik matrix`.
#ifndef TAVIK_TOOL_MATRIX_MATRIX_REPORT_H
#define TAVIK_TOOL_MATRIX_MATRIX_REPORT_H

#include <tavik/Provenance.h>

#include <string>

#include "io/StandardOutput.h"
#include "matrix/RuleMatrix.h"
#include "text/Terminal.h"

namespace tavik::tool {

struct MatrixReport {
  RuleMatrix& matrix;
  Dictionary versions;  ///< "library" and "rules"
  const Provenance& provenance;
  bool verified;  ///< whether signatures were verified
};

/// "200 rules for 60 part numbers and regions"
std::string sizeText(const RuleMatrix& matrix);

/// A value that a variant expects, with its kind visible, or why there is none.
std::string expectedText(const RuleMatrix::Variant& variant);

void writeMatrixText(const MatrixReport& report, const Screen& screen, BufferedOutput& output);
void writeMatrixJson(const MatrixReport& report, BufferedOutput& output);
void writeMatrixCsv(const MatrixReport& report, BufferedOutput& output);
void writeMatrixHtml(const MatrixReport& report, BufferedOutput& output);

}  // namespace tavik::tool

#endif
