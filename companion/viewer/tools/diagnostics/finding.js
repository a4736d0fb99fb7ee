// Something that is wrong: {id, severity ("bad", "warning", "note"), text, advice}.
export const finding = (id, severity, text, advice = '') => ({ id, severity, text, advice });
