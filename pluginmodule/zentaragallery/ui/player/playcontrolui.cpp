#include "ui/player/playcontrolui.h"

CPlayControlUI::CPlayControlUI(QWidget* parent) : CVerticalLayoutUI(parent) {}
