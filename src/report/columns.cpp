#include "report/columns.h"

#include "job/atoms.h"
#include "setup/state.h"

namespace qsolve {

namespace {

const char* LabelOf(int nOrbital) {
    return kOrbitalLabel[setup.vOrbitalType[nOrbital]];
}

const char* ElementOfOrbital(int nOrbital) {
    return kElementSymbol[RowOf(AtomByNumber(setup.vOrbitalAtom[nOrbital]))];
}

}  // namespace

void TableLine::AddMatrixLabel(int nOrbital) {
    Add(LabelOf(nOrbital));
    Add(ElementOfOrbital(nOrbital));
    Add(setup.vOrbitalAtom[nOrbital]);
}

void TableLine::AddPopulationLabel(int nOrbital) {
    Add(setup.vOrbitalAtom[nOrbital]);
    Add(LabelOf(nOrbital));
    Add(ElementOfOrbital(nOrbital));
}

}  // namespace qsolve
