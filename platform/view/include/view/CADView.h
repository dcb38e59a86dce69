#pragma once

#include <AIS_InteractiveContext.hxx>
#include <AIS_InteractiveObject.hxx>
#include <V3d_View.hxx>

#include <memory>
#include <string>

// A 3D view over a real interactive context. Headless by default (no display connection: display,
// selection and redisplay work, nothing is drawn); with an offscreen window when an X server exists.
class CADView
{
public:
  // A headless view.
  CADView();
  ~CADView();
  CADView(const CADView&) = delete;
  CADView& operator=(const CADView&) = delete;

  // Returns a view drawing into an offscreen window of width × height pixels, or null when no X
  // display can be opened.
  static std::unique_ptr<CADView> CreateOffscreen(int width, int height);

  // Returns the process-wide view that display shapes use unless given another.
  static CADView& Default();

  const Handle(AIS_InteractiveContext)& Context() const { return myContext; }

  // Returns the drawing view, null when headless.
  const Handle(V3d_View)& View() const { return myView; }

  void Display(const Handle(AIS_InteractiveObject)& object, bool update, int mode = -1);
  void Redisplay(const Handle(AIS_InteractiveObject)& object, bool update, bool allModes);
  // Hides the object, keeping it in the context.
  void Erase(const Handle(AIS_InteractiveObject)& object, bool update);
  // Removes the object from the context.
  void Remove(const Handle(AIS_InteractiveObject)& object, bool update);
  bool IsDisplayed(const Handle(AIS_InteractiveObject)& object) const;

  bool IsSelected(const Handle(AIS_InteractiveObject)& object) const;
  // Makes the object selected or not, leaving the rest of the selection alone.
  void SetSelectedState(const Handle(AIS_InteractiveObject)& object, bool selected);
  // Toggles the object in the selection.
  void AddOrRemoveSelected(const Handle(AIS_InteractiveObject)& object, bool update);
  void RecomputeSelectionOnly(const Handle(AIS_InteractiveObject)& object);
  // Recomputes the object's presentation (and redraws when `updateViewer`).
  void Update(const Handle(AIS_InteractiveObject)& object, bool updateViewer);

  // Records that an entity moved and redraws; returns nothing, the count is in MovedCount.
  void NotifyMoved(const Handle(AIS_InteractiveObject)& object);
  // Number of NotifyMoved calls so far.
  unsigned long long MovedCount() const { return myMovedCount; }

  // Redraws the view (no-op headless).
  void Redraw();
  // Fits the view to what is shown and writes it as an image (format from the extension);
  // returns false headless or when the write fails.
  bool DumpImage(const std::string& path);

private:
  Handle(AIS_InteractiveContext) myContext;
  Handle(V3d_View) myView;
  unsigned long long myMovedCount = 0;
};
