#pragma once

#include <cstddef>

#include "Scenario.h"
#include "base/Bytes.h"

namespace parvel::scenario {

// Every word of the scenario language (see docs/scenarios.md).
Vocabulary standardVocabulary();

// The image data `copy image` puts on the pasteboard: a fixed pattern of that many bytes.
Bytes scenarioImage(std::size_t size);

// The failure of an expectation: what was wanted, what the simulated Mac shows.
[[nodiscard]] Outcome mismatch(std::string_view wanted, std::string_view found);
// Passes when `holds`, else fails as a mismatch.
[[nodiscard]] Outcome check(bool holds, std::string_view wanted, std::string_view found);

// The groups it is made of.
void addTimeWords(Vocabulary& vocabulary);
void addApplicationWords(Vocabulary& vocabulary);
void addFinderWords(Vocabulary& vocabulary);
void addPasteboardWords(Vocabulary& vocabulary);
void addPrivacyWords(Vocabulary& vocabulary);
void addDefaultsWords(Vocabulary& vocabulary);
void addNetworkWords(Vocabulary& vocabulary);
void addSleepWords(Vocabulary& vocabulary);
void addInputWords(Vocabulary& vocabulary);
void addProgramWords(Vocabulary& vocabulary);
void addToolWords(Vocabulary& vocabulary);
void addSystemWords(Vocabulary& vocabulary);
void addProgramBundleWords(Vocabulary& vocabulary);
void addPowerWords(Vocabulary& vocabulary);
void addUserInterfaceWords(Vocabulary& vocabulary);
void addExpectationWords(Vocabulary& vocabulary);
void addPowerExpectations(Vocabulary& vocabulary);

}  // namespace parvel::scenario
