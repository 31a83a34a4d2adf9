// Click controls: a two-state switch and a picture shown on click.
#pragma once

#include "view.h"

// Shows the upper half of its bitmap at value 0 and the lower half otherwise;
// each press toggles it.
class COnOffButton : public CControl {
 public:
  COnOffButton(const CRect& size, CControlListener* listener, std::int32_t tag, CBitmap* background);

  void draw(CDrawContext* context) override;
  void mouse(CDrawContext* context, CPoint& where) override;
};

// A click area that, when clicked, shows a picture over `toDisplay` as the
// frame's modal view; a click on the picture hides it again.
class CSplashScreen : public CControl {
 public:
  CSplashScreen(const CRect& size, CControlListener* listener, std::int32_t tag, CBitmap* background,
                const CRect& toDisplay, const CPoint& offset = CPoint(0, 0));

  void draw(CDrawContext* context) override;
  void mouse(CDrawContext* context, CPoint& where) override;

 protected:
  CRect toDisplay;
  CRect keepSize;
  CPoint offset;
};
