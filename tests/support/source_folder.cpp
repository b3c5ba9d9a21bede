#include "tests/support/source_folder.h"

namespace qsolve {

std::string SourcePath(const std::string& sName) {
    return ORBITRAX_SOURCE_DIR "/" + sName;
}

}  // namespace qsolve
