#include <cadtools/CADParamConfig.h>

CADParamConfig& CADParamConfig::GetInstance()
{
  static CADParamConfig instance;
  return instance;
}
