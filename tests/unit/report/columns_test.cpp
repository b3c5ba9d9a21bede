#include "report/columns.h"

#include <gtest/gtest.h>

#include "setup/state.h"
#include "tests/unit/report/report_fixture.h"

namespace qsolve {
namespace {

class Columns : public ReportTest {};

TEST_F(Columns, NameAnOrbitalByLabelElementAndAtom) {
    Build({.Atoms = {{1, 1}, {22, 9}}});
    TableLine line;
    line.AddMatrixLabel(0);
    line.AddMatrixLabel(5);
    line.Log(kMsgMatrixColumnsTwo);
    EXPECT_EQ(client.Log(), Lines{"\n               S  H   1 Dz2 Ti   2"});
}

TEST_F(Columns, PutTheAtomFirstInAPopulation) {
    Build({.Atoms = {{1, 1}, {22, 9}}});
    TableLine line;
    line.AddPopulationLabel(9);
    line.Log(kMsgAoLabelsOne);
    EXPECT_EQ(client.Log(), Lines{"AO:            2 Dxy Ti"});
}

TEST_F(Columns, KeepAtomNumbersWhenTheSelectionIsNotInTheirOrder) {
    Build({.Atoms = {{1, 1}, {8, 4}, {7, 4}}, .Selection = {3, 1}});
    TableLine line;
    line.AddMatrixLabel(4);
    line.AddMatrixLabel(3);
    line.Log(kMsgMatrixColumnsTwo);
    EXPECT_EQ(client.Log(), Lines{"\n               S  H   1  Pz  N   3"});
}

}  // namespace
}  // namespace qsolve
