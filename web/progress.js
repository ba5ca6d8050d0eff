// What the simulator calls of the page; read by emscripten, not bundled.
/* global mergeInto, LibraryManager, Module */
mergeInto(LibraryManager.library, {
    TellProgress: function (share) {
        Module['tellProgress'](share);
    },
});
