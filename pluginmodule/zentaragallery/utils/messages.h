#pragma once

#include "common/platform/window.h"

// Message numbers between workers, the model and the windows, with their receiver:
// Main the gallery's window, Frame the host's, Viewer the picture viewer, Full its
// full screen, Album the album panel, Attr the details, Dim the layer under a dialog.
// Where nothing else is said, word and long parameter are 0.

#define GALLERY_MESSAGE(name, number) inline constexpr platform::UINT name = number

GALLERY_MESSAGE(WM_GALLERY_ALBUM_COMMAND, 3034);     // owner of the panel: 0, as it came
GALLERY_MESSAGE(WM_GALLERY_OPEN_UPGRADE, 3037);      // Frame: the link in the status line
GALLERY_MESSAGE(WM_GALLERY_LANGUAGE_CHANGED, 3089);  // Main, from the host
GALLERY_MESSAGE(WM_GALLERY_DOWNLOAD_START, 3090);    // owner of the dialog: 0, list of files
GALLERY_MESSAGE(WM_GALLERY_ERROR_CLOSED, 3091);      // owner of the error window
GALLERY_MESSAGE(WM_GALLERY_UPLOAD_BUSY, 3094);       // Frame: 1 start, 0 end
GALLERY_MESSAGE(WM_FRAME_SYNC_END, 3095);            // Frame: a tick has ended
GALLERY_MESSAGE(WM_FRAME_SYNC_BEGIN, 3096);          // Frame: a tick begins
GALLERY_MESSAGE(WM_GALLERY_SWITCH_CHANGED, 3097);    // Main: word 1 is on
GALLERY_MESSAGE(WM_GALLERY_ALBUM_LIST_LOCK, 3103);   // Dim
GALLERY_MESSAGE(WM_GALLERY_THUMB_READY, 3106);       // every cell, by filter: 0, file address
GALLERY_MESSAGE(WM_GALLERY_LCD_LOADED, 3108);        // Viewer, Full: 0, file; its fetch has ended
GALLERY_MESSAGE(WM_GALLERY_VIEWER_CLOSE, 3109);      // Viewer, Full
GALLERY_MESSAGE(WM_GALLERY_KEY_CTRL, 3110);          // Main, then list: of the key event, so the next four
GALLERY_MESSAGE(WM_GALLERY_KEY_SHIFT, 3111);
GALLERY_MESSAGE(WM_GALLERY_KEY_ESCAPE, 3112);
GALLERY_MESSAGE(WM_GALLERY_KEY_SELECT_ALL, 3113);
GALLERY_MESSAGE(WM_GALLERY_KEY_UP, 3114);
GALLERY_MESSAGE(WM_GALLERY_CLICK_BLANK, 3115);        // Main, then list
GALLERY_MESSAGE(WM_GALLERY_REDRAW, 3116);             // Main: 0, 1 rearranges rows, 0 paints them anew
GALLERY_MESSAGE(WM_GALLERY_RELOAD_VIEW, 3117);        // Main, Full, Viewer
GALLERY_MESSAGE(WM_GALLERY_ATTR_FOLLOW, 3118);        // Attr: move with the owner
GALLERY_MESSAGE(WM_GALLERY_LCD_FAILED, 3119);         // Viewer, Full: file
GALLERY_MESSAGE(WM_GALLERY_LCD_RELOAD, 3120);         // Viewer, Full: file; there is another one to read
GALLERY_MESSAGE(WM_GALLERY_TOOLBAR_STATE, 3123);      // Main: word 0, state
GALLERY_MESSAGE(WM_GALLERY_VIEWER_RESIZED, 3125);     // Viewer
GALLERY_MESSAGE(WM_GALLERY_VIEWER_LEFT, 3126);        // Main
GALLERY_MESSAGE(WM_GALLERY_RETURN_DONE, 3127);        // Main
GALLERY_MESSAGE(WM_GALLERY_ALBUM_BACKGROUND, 3128);   // Dim
GALLERY_MESSAGE(WM_GALLERY_ATTR_OPEN, 3130);          // Attr: pointer to a shared pointer of the file
GALLERY_MESSAGE(WM_GALLERY_ZOOM_TO, 3131);            // Viewer, Full: 0, 0 to 100
GALLERY_MESSAGE(WM_GALLERY_ZOOM_SLIDER, 3132);        // Main: 0, value
GALLERY_MESSAGE(WM_GALLERY_LCD_PROGRESS, 3134);       // Viewer, Full: file, percent
GALLERY_MESSAGE(WM_GALLERY_SHOW_WINDOW, 3135);        // Main
GALLERY_MESSAGE(WM_GALLERY_FULL_LCD_PROGRESS, 3137);  // Full: file, percent
GALLERY_MESSAGE(WM_GALLERY_FULL_LCD_DONE, 3138);      // Full: file
GALLERY_MESSAGE(WM_USER_END_REACHED, 3139);           // Player, this and the next two: number of the film
GALLERY_MESSAGE(WM_USER_PLAYING, 3142);
GALLERY_MESSAGE(WM_USER_POSITION, 3143);
GALLERY_MESSAGE(WM_USER_END_ERROR, 3185);
GALLERY_MESSAGE(WM_GALLERY_VIDEO_ENDED, 3145);     // Viewer: back to the still
GALLERY_MESSAGE(WM_GALLERY_VIDEO_RESIZE, 3153);    // Viewer: size the film
GALLERY_MESSAGE(WM_GALLERY_BAR_SHOW, 3154);        // Viewer: show the video bar and attach it
GALLERY_MESSAGE(WM_GALLERY_PLAYER_TO_FULL, 3155);  // Full: size the film, attach its bar
GALLERY_MESSAGE(WM_GALLERY_BAR_BACK, 3156);        // Viewer: full screen is left, its bar again
GALLERY_MESSAGE(WM_GALLERY_FULL_FOLLOW, 3157);     // Full: the film has ended
GALLERY_MESSAGE(WM_GALLERY_FULL_RESIZE, 3158);     // Full
GALLERY_MESSAGE(WM_GALLERY_FULL_OPEN, 3159);       // Viewer
GALLERY_MESSAGE(WM_GALLERY_FULL_LEAVE, 3160);      // Full
GALLERY_MESSAGE(WM_GALLERY_VIDEO_STOP, 3164);      // Viewer: stop the film
GALLERY_MESSAGE(WM_GALLERY_ALBUM_ADDED, 3141);     // Main: 0, album id, owned
GALLERY_MESSAGE(WM_GALLERY_PIC_REFRESH, 3147);     // Viewer: what it shows of the file has changed
GALLERY_MESSAGE(WM_GALLERY_FULL_SYNC, 3148);       // Viewer: degrees, pointer to a shared pointer of the file
GALLERY_MESSAGE(WM_GALLERY_OPEN_ALBUM, 3150);      // Main: shared pointer to an album; no loading page
GALLERY_MESSAGE(WM_GALLERY_FULL_CLOSE, 3151);      // Full
GALLERY_MESSAGE(WM_GALLERY_BUBBLE, 3161);          // owner of a bubble
GALLERY_MESSAGE(WM_GALLERY_DELETE_SHOWN, 3163);    // Main
GALLERY_MESSAGE(WM_GALLERY_ZOOM_ENABLE, 3165);     // Main: 0, nonzero disables slider and buttons
GALLERY_MESSAGE(WM_GALLERY_SYNC_STATE, 3166);      // Main: state, count
GALLERY_MESSAGE(WM_GALLERY_FOCUS_BACK, 3167);      // Viewer
GALLERY_MESSAGE(WM_GALLERY_ATTR_FILE, 3168);       // Attr, Full: 0, favorite state
GALLERY_MESSAGE(WM_GALLERY_ALBUM_RELAYOUT, 3169);  // Album
GALLERY_MESSAGE(WM_GALLERY_ATTR_CLOSED, 3174);     // Viewer, Full: toggle state
GALLERY_MESSAGE(WM_GALLERY_RETEXT, 3176);          // Viewer, Album, dialogs
GALLERY_MESSAGE(WM_GALLERY_UPLOAD_PANEL, 3178);    // Main: 0, 1 shows the progress line, 0 hides it
GALLERY_MESSAGE(WM_GALLERY_UPLOAD_PANEL_CLOSE, 3179);  // Frame
GALLERY_MESSAGE(WM_GALLERY_UPLOAD_PROGRESS, 3180);     // Main: kind, value
GALLERY_MESSAGE(WM_GALLERY_DOWNLOAD_DONE, 3181);       // Main: the selection is done with
GALLERY_MESSAGE(WM_GALLERY_CLOUD_DISABLED, 3184);      // Album
GALLERY_MESSAGE(WM_GALLERY_DIALOG_CLOSED, 3186);       // Dim
GALLERY_MESSAGE(WM_GALLERY_LCD_READY, 3187);           // Viewer, Full: file; there is more of it in memory
GALLERY_MESSAGE(WM_GALLERY_PLAY_SHOWN, 3188);          // Viewer, from Full: play the film that is shown
GALLERY_MESSAGE(WM_GALLERY_RESIZED, 3189);             // Dim
GALLERY_MESSAGE(WM_HOME_GALLERY_DATA, 3213);           // Frame: 0, file count
GALLERY_MESSAGE(WM_GALLERY_ALBUM_COVER, 3214);         // Frame: 0, path of a cover that has changed, owned
GALLERY_MESSAGE(WM_HOME_GALLERY_DBLCLICK, 3215);       // Main: 0 viewer, 1 jump; local path, owned
GALLERY_MESSAGE(WM_GALLERY_LOGIN, 3216);               // Main: 0, 1 login, 0 logout
GALLERY_MESSAGE(WM_GALLERY_ALBUM_REMOVED, 3217);       // Main: 0, album id, owned
GALLERY_MESSAGE(WM_GALLERY_DOWNLOAD_TOAST, 3242);      // Frame
GALLERY_MESSAGE(WM_GALLERY_MOVE_ATTR, 3252);           // Attr
GALLERY_MESSAGE(WM_GALLERY_DPI, 3258);                 // Main, Album, Full, Viewer: DPI
GALLERY_MESSAGE(WM_GALLERY_ALBUM_CLEAR, 3259);         // Album
GALLERY_MESSAGE(WM_GALLERY_VIEWER_CLOSE_TOP, 3260);    // Main: closes Full if open, else Viewer
GALLERY_MESSAGE(WM_GALLERY_SHELL_DROP, 3268);          // Main: 0, target path
GALLERY_MESSAGE(WM_GALLERY_DRAG_DONE, 3275);           // Frame
GALLERY_MESSAGE(WM_GALLERY_ALBUM_FORWARD, 3288);       // Main to Album
GALLERY_MESSAGE(WM_GALLERY_DATA_RESET, 3291);          // Main: 1 also closes the progress line
GALLERY_MESSAGE(WM_GALLERY_CONTINUE_UPLOAD, 3292);     // Main: uploads that were paused go on
GALLERY_MESSAGE(WM_RESTART_MANAGER, 3293);             // Main
GALLERY_MESSAGE(WM_GALLERY_SIZE_AGAIN, 3296);          // Main
GALLERY_MESSAGE(WM_GALLERY_FUNCTIONS_CHANGED, 3305);   // Main, Viewer, Album
GALLERY_MESSAGE(WM_GALLERY_DROP_LIST, 3308);           // Frame: 0, words for who dropped files, a wide text
GALLERY_MESSAGE(WM_GALLERY_ALBUM_KEY, 3313);           // Album: key
GALLERY_MESSAGE(WM_GALLERY_UPLOAD_LIMIT, 3334);        // Main: more files than one upload takes
GALLERY_MESSAGE(WM_GALLERY_CONTENT_STATUS,
                3350);  // Main: owned shared pointer to the transfer; 1 there, 2 lost
GALLERY_MESSAGE(WM_GALLERY_UPLOAD_FINISHED,
                3352);  // Main: owned shared pointers to the transfer and the file, or null
GALLERY_MESSAGE(WM_GALLERY_VIEWER_BURST, 3353);            // Viewer: 0, burst parent
GALLERY_MESSAGE(WM_FRAME_SILENT_USER, 3356);               // Frame
GALLERY_MESSAGE(WM_FRAME_DATA_HIDE_REQUEST_FAILED, 3363);  // Frame

#undef GALLERY_MESSAGE
