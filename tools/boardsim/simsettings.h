#pragma once

// Run-time behaviour of the simulated link, changed by options and by the
// console.
struct SimSettings {
    bool silent = false; // the board never answers (bytes are ignored)
    int delayMs = 0;     // extra hold before each reply
    int paceBaud = 0;    // hold each reply for its wire time; 0 = at once
    bool frozen = false; // the machine does not move on with time
};
