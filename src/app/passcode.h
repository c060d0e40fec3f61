#pragma once

class ModUtility;

// Edit > Set-up Passcode: shows the colour control passcode held in the
// board and writes the one the operator types. The program keeps none itself.
void SetupPasscode(ModUtility &util);
