// default_judge.h: the judge of the process, for the tests.
#pragma once

namespace sifterra {

// Forgets the default judge, so that the next call builds one. Nothing may be asking it meanwhile.
void resetDefaultJudgeForTesting();

}  // namespace sifterra
