// The waveform measures and their table of nanoseconds per sample.
#pragma once

#include <ostream>

#include "ratio_table.h"

void AddWaveformOperations();
void PrintWaveformTable(const MedianCollector& collector, std::ostream& out);
