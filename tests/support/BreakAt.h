#pragma once

#include <Message_ProgressIndicator.hxx>

// Asks to stop once `stopAt` of the work is done.
struct BreakAt : Message_ProgressIndicator
{
  explicit BreakAt(double stopAt) : stopAt(stopAt) {}
  Standard_Boolean UserBreak() override { return GetPosition() >= stopAt; }
  void Show(const Message_ProgressScope&, const Standard_Boolean) override {}
  const double stopAt;
};
