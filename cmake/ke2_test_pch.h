// Precompiled for every test executable.
#pragma once
#include "cmake/ke2_pch.h"
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
