#pragma once

#include <string>

namespace qsolve {

/// Path of a file of the checkout that the tests were built from, by its name from the top: where
/// that is, one source alone is told, so that the others compile the same in every checkout.
std::string SourcePath(const std::string& sName);

}  // namespace qsolve
