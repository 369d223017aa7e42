// The declarations of the host's own methods that the plug-in loads with
// REALLoadObjectMethod. The plug-in asks for them and the embedded host
// answers them from this one list, so the two cannot disagree on a spelling.
#pragma once

#define QVL_PICTURE_CONSTRUCTOR "Constructor(width as integer, height as integer)"
#define QVL_PICTURE_MASK_GETTER "Mask(create As Boolean = True) As Picture"
#define QVL_PICTURE_MASK_SETTER "Mask(assigns newMask As Picture)"
#define QVL_PICTURE_BEST_REPRESENTATION \
  "BestRepresentation(width As Integer, height As Integer, scale As Double) As Picture"
#define QVL_MEMORY_BLOCK_CONSTRUCTOR "Constructor(bytes as Integer)"
#define QVL_GRAPHICS_DRAW_PICTURE_DOUBLE                                                                       \
  "DrawPicture(Image as Picture, x as Double, y as Double, w as Double, h as Double, sx as Double = 0, sy as " \
  "Double = 0, sw as Double = -10000, sh as Double = -10000)"
#define QVL_GRAPHICS_DRAW_PICTURE_INTEGER                                                                           \
  "DrawPicture(Image as Picture, x as Integer, y as Integer, w as Integer, h as Integer, sx as Integer = 0, sy as " \
  "Integer = 0, sw as Integer = -10000, sh as Integer = -10000)"
#define QVL_GRAPHICS_DRAW_LINE_DOUBLE "DrawLine( x1 as Double, y1 as Double, x2 as Double, y2 as Double )"
#define QVL_GRAPHICS_DRAW_LINE_INTEGER "DrawLine( x1 as Integer, y1 as Integer, x2 as Integer, y2 as Integer )"
