#pragma once

namespace qsolve {

/// Copies the lower triangle of the leading nOrder rows and columns of a matrix over the upper one.
/// Rows are nLeading apart. Charges Yield for each row at the end.
void CopyLowerToUpper(double* m, int nLeading, int nOrder);

}  // namespace qsolve
