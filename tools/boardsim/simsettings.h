#pragma once

// Run-time behaviour of the simulated link, changed by options and by the
// console.
struct SimSettings {
    bool silent = false; // the board never answers (bytes are ignored)
    int delayMs = 0;     // extra hold before each reply
    int paceBaud = 0;    // hold each reply for its wire time; 0 = at once
    bool frozen = false; // the machine does not move on with time
    // The hardware between PC and board:
    int adapterLatencyMs = 0; // replies wait for the adapter's next timer tick; 0 = none
    bool loopback = false;    // a loopback plug: every byte comes back unchanged
    int boardSpeed = 0;       // the board's baud rate; other speeds hear noise; 0 = any
};
