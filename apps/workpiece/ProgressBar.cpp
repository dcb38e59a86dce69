#include "ProgressBar.h"

#include <Message_ProgressScope.hxx>

#include <string>

namespace
{
// Characters of the bar between its brackets.
constexpr int BarWidth = 40;
} // namespace

ProgressBar::~ProgressBar()
{
  if (myShownPercent >= 0)
    myOut << "\r" << std::string(BarWidth + 32, ' ') << "\r" << std::flush;
}

void ProgressBar::Show(const Message_ProgressScope& scope, const Standard_Boolean force)
{
  const int percent = static_cast<int>(GetPosition() * 100.0 + 0.5);
  if (!force && percent == myShownPercent)
    return;
  myShownPercent = percent;
  const int filled = percent * BarWidth / 100;
  const char* name = scope.Name() ? scope.Name() : "";
  myOut << "\r" << name << " [" << std::string(filled, '#') << std::string(BarWidth - filled, '.') << "] " << percent
        << "%" << std::flush;
}
