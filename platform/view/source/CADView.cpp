#include <view/CADView.h>

#include <Aspect_DisplayConnection.hxx>
#include <OpenGl_GraphicDriver.hxx>
#include <Standard_Failure.hxx>
#include <V3d_Viewer.hxx>
#include <Xw_Window.hxx>

#include <cstdlib>

namespace
{
// Returns a viewer over an OpenGL driver on `display` (null: no display, nothing is drawn).
Handle(V3d_Viewer) MakeViewer(const Handle(Aspect_DisplayConnection)& display)
{
  Handle(OpenGl_GraphicDriver) driver = new OpenGl_GraphicDriver(display, false);
  Handle(V3d_Viewer) viewer = new V3d_Viewer(driver);
  viewer->SetDefaultLights();
  viewer->SetLightOn();
  return viewer;
}
} // namespace

CADView::CADView() : myContext(new AIS_InteractiveContext(MakeViewer(Handle(Aspect_DisplayConnection)()))) {}

CADView::CADView(const Handle(AIS_InteractiveContext)& context, const Handle(V3d_View)& view)
  : myContext(context), myView(view)
{
}

CADView::~CADView()
{
  myContext->RemoveAll(false);
}

std::unique_ptr<CADView> CADView::CreateOffscreen(int width, int height)
{
  const char* display = std::getenv("DISPLAY");
  if (display == nullptr || *display == '\0')
    return nullptr;
  try
  {
    // One connection serves every offscreen view for the life of the process: opening and closing
    // the display (and loading and unloading its GL driver) for each view is slow.
    static const Handle(Aspect_DisplayConnection)* const shared =
      new Handle(Aspect_DisplayConnection)(new Aspect_DisplayConnection());
    const Handle(Aspect_DisplayConnection)& connection = *shared;
    if (connection->GetDisplayAspect() == nullptr)
      return nullptr;
    Handle(V3d_Viewer) viewer = MakeViewer(connection);
    Handle(AIS_InteractiveContext) context = new AIS_InteractiveContext(viewer);
    Handle(V3d_View) view = viewer->CreateView();
    Handle(Xw_Window) window = new Xw_Window(connection, "workpiece", 0, 0, width, height);
    window->SetVirtual(true);
    view->SetWindow(window);
    view->SetBackgroundColor(Quantity_Color(Quantity_NOC_WHITE));
    view->SetProj(V3d_XposYnegZpos);
    return std::unique_ptr<CADView>(new CADView(context, view));
  }
  catch (const Standard_Failure&)
  {
    return nullptr;
  }
}

CADView& CADView::Default()
{
  // Never destroyed: display objects may still point at it while static objects are torn down.
  static CADView* const view = new CADView();
  return *view;
}

void CADView::Display(const Handle(AIS_InteractiveObject)& object, bool update, int mode)
{
  if (object.IsNull())
    return;
  if (mode < 0)
    myContext->Display(object, update);
  else
    myContext->Display(object, mode, 0, update);
}

void CADView::Redisplay(const Handle(AIS_InteractiveObject)& object, bool update, bool allModes)
{
  if (!object.IsNull())
    myContext->Redisplay(object, update, allModes);
}

void CADView::Erase(const Handle(AIS_InteractiveObject)& object, bool update)
{
  if (!object.IsNull())
    myContext->Erase(object, update);
}

void CADView::Remove(const Handle(AIS_InteractiveObject)& object, bool update)
{
  if (!object.IsNull())
    myContext->Remove(object, update);
}

bool CADView::IsDisplayed(const Handle(AIS_InteractiveObject)& object) const
{
  return !object.IsNull() && myContext->IsDisplayed(object);
}

bool CADView::IsSelected(const Handle(AIS_InteractiveObject)& object) const
{
  return !object.IsNull() && myContext->IsSelected(object);
}

void CADView::SetSelectedState(const Handle(AIS_InteractiveObject)& object, bool selected)
{
  if (!object.IsNull() && IsSelected(object) != selected)
    myContext->AddOrRemoveSelected(object, false);
}

void CADView::AddOrRemoveSelected(const Handle(AIS_InteractiveObject)& object, bool update)
{
  if (!object.IsNull())
    myContext->AddOrRemoveSelected(object, update);
}

void CADView::RecomputeSelectionOnly(const Handle(AIS_InteractiveObject)& object)
{
  if (!object.IsNull())
    myContext->RecomputeSelectionOnly(object);
}

void CADView::Update(const Handle(AIS_InteractiveObject)& object, bool updateViewer)
{
  if (!object.IsNull())
    myContext->Update(object, updateViewer);
}

void CADView::NotifyMoved(const Handle(AIS_InteractiveObject)& object)
{
  if (object.IsNull())
    return;
  ++myMovedCount;
  Redraw();
}

void CADView::Redraw()
{
  if (!myView.IsNull())
    myView->Redraw();
}

bool CADView::DumpImage(const std::string& path)
{
  if (myView.IsNull())
    return false;
  myView->FitAll(0.05, false);
  myView->Redraw();
  return myView->Dump(path.c_str());
}
