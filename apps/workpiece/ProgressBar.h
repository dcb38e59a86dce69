#pragma once

#include <Message_ProgressIndicator.hxx>

#include <ostream>

// A one-line text progress bar, redrawn in place on a terminal.
class ProgressBar : public Message_ProgressIndicator
{
public:
  explicit ProgressBar(std::ostream& out) : myOut(out) {}
  ~ProgressBar() override;

protected:
  void Show(const Message_ProgressScope& scope, const Standard_Boolean force) override;

private:
  std::ostream& myOut;
  int myShownPercent = -1;
};
