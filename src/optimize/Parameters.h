#pragma once
// The three parameters of the potential rule as the parameter dialog shows and
// reads them: each box holds a number as text.

#include <string>

#include "model/Model.h"

namespace quillane {

struct ParameterTexts {
    std::string stressTarget; // MPa
    std::string epsilon;
    std::string lambda;
};

// The present values in their shortest general form (a fresh model: "0", "1", "0.05").
ParameterTexts ParameterTextsOf(const Model& m);

// Reads the boxes in the order stress target, Epsilon, Lambda, then stores them: the
// leading number of the text, StressTarget and Lambda as single precision, Epsilon to
// the nearest integer with halves to even. A value too large for its type raises the
// overflow fault before anything is stored.
void ApplyParameterTexts(Model& m, const ParameterTexts& texts);

// "Stress Target = 120MPa   Epsilon = 3   Lambda = 0.05"
std::string ParameterStatusText(const Model& m);

} // namespace quillane
