#pragma once

#include <string>

// The X display that offscreen views draw on: the caller's own (DISPLAY) when it answers, else one
// private Xvfb per process, started on first need on a display number it picks itself and stopped
// when the process ends.
class VirtualDisplay
{
public:
  // Makes DISPLAY name a reachable X server, starting Xvfb (with a screen of at least width ×
  // height) when none answers, and keeps one connection to it open for the life of the process;
  // returns the display's name. Throws WorkpieceError, saying how to get one, when no server
  // answers and Xvfb cannot be started.
  static std::string Ensure(int width, int height);
};
