#pragma once

// Register exchanges of an Upload All: the read-mode handshake, then two
// exchanges for every byte of every item. What a slow link is measured by.
int uploadAllExchanges();
