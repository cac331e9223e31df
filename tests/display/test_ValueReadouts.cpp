#include "display/ValueReadouts.h"

#include <gtest/gtest.h>

#include "model/Messages.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;

namespace {

// Three rows by four columns of 100 mm cells from the origin; cell (i, j) holds
// the stress 10 i + j and the potential 10 i + j + 0.5.
Model plate() {
    Model m = makePlate(3, 4);
    for (int i = 1; i <= 3; ++i) {
        for (int j = 1; j <= 4; ++j) {
            m.CellStress(i, j) = 10 * i + j;
            m.Potential(i, j) = 10 * i + j + 0.5;
        }
    }
    m.CellStress(1, 2) = 0.1;      // shown in single precision: 0.1
    m.Potential(1, 2) = 1.0 / 3.0; // and 0.3333333
    return m;
}

} // namespace

TEST(ElementReadout, ReportsTheCellBelowAndLeftOfTheClickedOne) {
    const Model m = plate();
    const struct {
        float x, y;
        const char* stress;
        const char* potential; // nullptr: the subscript fault
    } cases[] = {
        {350, 250, "2,3   stress = 23MPa", "2,3   Potential = 23.5"}, // cell (3, 4)
        {250, 150, "1,2   stress = 0.1MPa", "1,2   Potential = 0.3333333"},
        {400, 300, "3,4   stress = 34MPa", "3,4   Potential = 34.5"}, // corner is inside
        {399.9f, 299.9f, "2,3   stress = 23MPa", "2,3   Potential = 23.5"},
        {50, 250, "2,0   stress = 0MPa", nullptr}, // leftmost column
        {350, 50, "0,3   stress = 0MPa", nullptr}, // lowest row
        {-0.1f, 50, kElementNotInDomain, kElementNotInDomain},
        {500, 150, kElementNotInDomain, kElementNotInDomain},
        {50, 400, kElementNotInDomain, kElementNotInDomain},
    };
    for (const auto& c : cases) {
        const Readout r = stressValue(m, c.x, c.y);
        EXPECT_EQ(r.inside, std::string(c.stress) != kElementNotInDomain);
        EXPECT_EQ(r.text, c.stress) << c.x << "," << c.y;
        if (c.potential) {
            EXPECT_EQ(neuronValue(m, c.x, c.y).text, c.potential) << c.x << "," << c.y;
        } else {
            EXPECT_THROW(neuronValue(m, c.x, c.y), SubscriptFault) << c.x << "," << c.y;
        }
    }
}

TEST(NodeReadout, SnapsToTheNearestNodeWithHalvesUp) {
    Model m = plate();
    loadNode(m, nodeAt(m, 2, 2), 10, -5);
    loadNode(m, nodeAt(m, 2, 3), 0.25, 1e-5);
    loadNode(m, nodeAt(m, 1, 1), -1, 2);
    EXPECT_EQ(loadValue(m, 149.9f, 51).text, "Px = 10N  Py = -5N");
    EXPECT_EQ(loadValue(m, 150, 50).text, "Px = 0.25N  Py = 1E-05N");
    EXPECT_EQ(loadValue(m, -50, -50).text, "Px = -1N  Py = 2N");
    EXPECT_EQ(loadValue(m, -50.1f, 0).text, kNodeNotInDomain);
    EXPECT_FALSE(loadValue(m, 0, 350.1f).inside);
    EXPECT_TRUE(loadValue(m, 449, 349).inside);

    EXPECT_EQ(dispValue(m, 400, 300).text, "u = 0mm  v = 0mm"); // before any analysis
    m.NodeDisp(nodeAt(m, 4, 5), 1) = 0.1;
    m.NodeDisp(nodeAt(m, 4, 5), 2) = -0.2;
    EXPECT_EQ(dispValue(m, 400, 300).text, "u = 0.1mm  v = -0.2mm");
    EXPECT_EQ(dispValue(m, 500, 300).text, kNodeNotInDomain);
}
