/* Choice.cpp - which level a call takes: the best there is. */
#include "kernels/Kernels.h"

Level ChosenLevel() { return HighestLevel(); }
