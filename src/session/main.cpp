#include <string>

#include "session/session.h"

/// Process entry: the arguments, with blanks between them, are the command line.
int main(int nArguments, char** pArguments) {
    std::string sCommandLine;
    for (int i = 1; i < nArguments; ++i)
        sCommandLine += std::string(i > 1 ? " " : "") + pArguments[i];
    return qsolve::BackendMain(sCommandLine.c_str());
}
