#pragma once

#include "Scenario.h"

namespace parvel::scenario {

// Every word of the scenario language (see docs/scenarios.md).
Vocabulary standardVocabulary();

// The groups it is made of.
void addTimeWords(Vocabulary& vocabulary);
void addWorldWords(Vocabulary& vocabulary);
void addInputWords(Vocabulary& vocabulary);
void addProgramWords(Vocabulary& vocabulary);
void addToolWords(Vocabulary& vocabulary);
void addSystemWords(Vocabulary& vocabulary);
void addProgramBundleWords(Vocabulary& vocabulary);
void addUserInterfaceWords(Vocabulary& vocabulary);
void addExpectationWords(Vocabulary& vocabulary);

}  // namespace parvel::scenario
