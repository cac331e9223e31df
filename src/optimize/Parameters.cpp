#include "optimize/Parameters.h"

#include "model/NumberText.h"

namespace quillane {

ParameterTexts ParameterTextsOf(const Model& m) {
    return ParameterTexts{formatGeneral(m.StressTarget), formatGeneral(static_cast<int>(m.Epsilon)),
                          formatGeneral(m.Lambda)};
}

void ApplyParameterTexts(Model& m, const ParameterTexts& texts) {
    // All three are read before any is stored, so a value that overflows leaves every
    // parameter as it was.
    const float stressTarget = toSingle(leadingNumber(texts.stressTarget), "the stress target");
    const int16 epsilon = roundToInt16(leadingNumber(texts.epsilon), "Epsilon");
    const float lambda = toSingle(leadingNumber(texts.lambda), "Lambda");
    m.StressTarget = stressTarget;
    m.Epsilon = epsilon;
    m.Lambda = lambda;
}

std::string ParameterStatusText(const Model& m) {
    return "Stress Target = " + formatGeneral(m.StressTarget) +
           "MPa   Epsilon = " + formatGeneral(static_cast<int>(m.Epsilon)) +
           "   Lambda = " + formatGeneral(m.Lambda);
}

} // namespace quillane
