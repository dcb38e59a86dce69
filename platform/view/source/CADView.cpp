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
    Handle(Aspect_DisplayConnection) connection = new Aspect_DisplayConnection();
    if (connection->GetDisplayAspect() == nullptr)
      return nullptr;
    std::unique_ptr<CADView> view(new CADView());
    Handle(V3d_Viewer) viewer = MakeViewer(connection);
    view->myContext = new AIS_InteractiveContext(viewer);
    view->myView = viewer->CreateView();
    Handle(Xw_Window) window = new Xw_Window(connection, "workpiece", 0, 0, width, height);
    window->SetVirtual(true);
    view->myView->SetWindow(window);
    view->myView->SetBackgroundColor(Quantity_Color(Quantity_NOC_WHITE));
    view->myView->SetProj(V3d_XposYnegZpos);
    return view;
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
