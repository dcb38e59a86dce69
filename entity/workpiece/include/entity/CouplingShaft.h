#pragma once

// Two joints coupled by a ratio: PairTwo follows PairOne. Positions are places in the link list.
struct CouplingShaft
{
  unsigned long long pairOneHash = 0;
  unsigned long long pairTwoHash = 0;
  unsigned long long pairOnePosition = 0;
  unsigned long long pairTwoPosition = 0;
  double ratio = 1.0;
};
