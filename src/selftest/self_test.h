// The program's own end-to-end test, run by the command --self-test.
#pragma once

namespace k7k {

// Drives the engine that the commands use through its normal and its failure paths, on fixtures
// that it makes in a throw-away folder below the temporary folder. Returns 0, and the folder is
// gone; or the number (1 to 25) of the first expectation that did not hold, and the folder stays
// for inspection (with 1 there is none). The numbers are part of the program's interface and do not
// follow the order of the steps. Writes nothing, but for one line on standard error with number 5.
int RunSelfTest();

}  // namespace k7k
