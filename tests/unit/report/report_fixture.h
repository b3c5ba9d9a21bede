#pragma once

#include <string>
#include <vector>

#include "link/state.h"
#include "tests/support/bare_molecule.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {

using Lines = std::vector<std::string>;

/// A client that reads the log.
class ReportTest : public FreshState {
  protected:
    ReportTest() {
        NewScriptedClient();
        link.fLogReports = true;
    }

    static Lines Status() { return client.Texts(kPacketStatusLine); }
};

/// nCount texts of make(i) with sBetween between them.
template <class Make>
std::string Join(int nCount, const char* sBetween, Make make) {
    std::string sText;
    for (int i = 0; i < nCount; ++i) {
        if (i > 0) sText += sBetween;
        sText += make(i);
    }
    return sText;
}

}  // namespace qsolve
