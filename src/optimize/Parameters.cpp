#include "optimize/Parameters.h"

#include "model/NumberText.h"

namespace quillane {

ParameterTexts ParameterTextsOf(const Model& m) {
    return ParameterTexts{formatGeneral(m.StressTarget), formatGeneral(static_cast<int>(m.Epsilon)),
                          formatGeneral(m.Lambda)};
}

void ApplyParameterTexts(Model& m, const ParameterTexts& texts) {
    // Each value is stored as soon as it is read: an overflow in a later box leaves
    // the earlier ones changed, as the dialog always has.
    m.StressTarget = toSingle(leadingNumber(texts.stressTarget), "the stress target");
    m.Epsilon = roundToInt16(leadingNumber(texts.epsilon), "Epsilon");
    m.Lambda = toSingle(leadingNumber(texts.lambda), "Lambda");
}

std::string ParameterStatusText(const Model& m) {
    return "Stress Target = " + formatGeneral(m.StressTarget) +
           "MPa   Epsilon = " + formatGeneral(static_cast<int>(m.Epsilon)) +
           "   Lambda = " + formatGeneral(m.Lambda);
}

} // namespace quillane
