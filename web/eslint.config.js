import js from '@eslint/js';
import globals from 'globals';

export default [
    js.configs.recommended,
    {
        files: ['**/*.js'],
        languageOptions: { ecmaVersion: 2022, globals: { ...globals.browser } },
        rules: { eqeqeq: 'error', 'prefer-const': 'error', 'no-console': 'error' },
    },
    {
        files: ['**/worker.js'],
        languageOptions: { globals: { ...globals.worker } },
    },
    {
        files: ['**/*.mjs'],
        languageOptions: { ecmaVersion: 2022, globals: { ...globals.node, ...globals.browser } },
    },
];
