#include "childform.h"

ChildForm::ChildForm(ModUtility &util, QWidget *parent) : QWidget(parent), m_util(util)
{
}

void ChildForm::Form_Activate()
{
    FormActive = true;
}

void ChildForm::Form_Unload()
{
    FormActive = false;
}
